#include "TabbedPrefsWindowController.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPropertyAnimation>
#include <QScreen>
#include <QStyle>
#include <QStyleOptionToolButton>
#include <QStylePainter>
#include <QToolButton>
#include <QWidget>

#include <algorithm>
#include <cstdlib>

#include "DarkTheme.h"
#include "NSDarkToolBar.h"
#include "QuartzUtils.h"
#include "WindowResources.h"

const char* const TabbedPrefsWindowController::kWindowTitle =
    "Orvanta Software: Corvix Support Tool";

namespace {

TabbedPrefsWindowController* sharedController = nullptr;

// A toolbar button: its image above its title and nothing else; the toolbar draws the highlight
// behind the chosen one, and pressing changes nothing on screen.
class ToolbarButton : public QToolButton {
  public:
    explicit ToolbarButton(QWidget* parent = nullptr) : QToolButton(parent) {}

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QStylePainter painter(this);
        QStyleOptionToolButton option;
        initStyleOption(&option);
        option.state &= ~(QStyle::State_Sunken | QStyle::State_On | QStyle::State_MouseOver);
        painter.drawControl(QStyle::CE_ToolButtonLabel, option);
    }
};

}  // namespace

TabbedPrefsWindowController::TabbedPrefsWindowController() {
    WindowResources::init();
}

TabbedPrefsWindowController::~TabbedPrefsWindowController() {
    if (sharedController == this) {
        sharedController = nullptr;
    }
}

TabbedPrefsWindowController* TabbedPrefsWindowController::sharedInstance(
    TabbedPrefsWindowController* (*make)()) {
    if (sharedController == nullptr) {
        sharedController = make();
        // Post routines run at the start of QApplication's destructor, while widgets may still
        // be deleted.
        static const bool registered = (qAddPostRoutine(releaseSharedPrefsWindowController), true);
        (void)registered;
    }
    return sharedController;
}

TabbedPrefsWindowController* TabbedPrefsWindowController::sharedPrefsWindowController() {
    return sharedInstance([]() { return new TabbedPrefsWindowController; });
}

void TabbedPrefsWindowController::releaseSharedPrefsWindowController() {
    delete sharedController;
}

QWidget* TabbedPrefsWindowController::window() {
    if (!_window) {
        loadNib();
        windowDidLoad();
    }
    return _window.get();
}

void TabbedPrefsWindowController::windowDidLoad() {
    _window = std::make_unique<QWidget>(
        nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                     Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                     Qt::WindowCloseButtonHint);
    _window->setObjectName("CorvixSupportWindow");
    _window->setWindowTitle(kWindowTitle);
    QPalette palette = _window->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    _window->setPalette(palette);
    _window->setAutoFillBackground(true);

    _darkToolbar = new NSDarkToolBar(_window.get());
    _darkToolbar->setObjectName("darkToolbar");
    _contentSubview = new QWidget(_window.get());
    _contentSubview->setObjectName("contentSubview");
    _window->installEventFilter(this);
    _contentSubview->installEventFilter(this);

    // Centred on the screen, then moved to the left edge kWindowLeft.
    QRect geometry(0, 0, kInitialSize, kInitialSize);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        geometry.moveCenter(screen->availableGeometry().center());
    }
    geometry.moveLeft(kWindowLeft);
    _window->setGeometry(geometry);
    _window->setFixedSize(geometry.size());
    layOutWindow();

    _resizeAnimation = new QPropertyAnimation(_window.get(), "geometry", _window.get());
    connect(_resizeAnimation, &QPropertyAnimation::finished, this, [this]() {
        _window->setFixedSize(_window->size());
        emit resizeFinished();
    });
}

void TabbedPrefsWindowController::addView(QWidget* view, const QString& label) {
    addView(view, label, WindowResources::imageNamed(label));
}

void TabbedPrefsWindowController::addView(QWidget* view, const QString& label,
                                          const QPixmap& image) {
    window();
    _toolbarIdentifiers.append(label);

    auto* button = new ToolbarButton;
    button->setObjectName(label);
    button->setGeometry(10, 0, 90, 50);
    button->setFocusPolicy(Qt::NoFocus);
    button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    button->setText(label);
    if (!image.isNull()) {
        button->setIcon(image);
        button->setIconSize(image.deviceIndependentSize().toSize());
    }
    connect(button, &QToolButton::clicked, this, [this, button]() { toggleView(button); });
    _darkToolbar->addButton(button);

    _toolbarViews.insert(label, view);
}

void TabbedPrefsWindowController::showWindow(QObject* /*sender*/) {
    window();
    _toolbarIdentifiers.clear();
    _toolbarViews.clear();
    setupToolbar();
    if (!_toolbarIdentifiers.isEmpty()) {
        displayViewForIdentifier(_toolbarIdentifiers.first(), false);
    }
    _window->show();
    _window->activateWindow();
}

void TabbedPrefsWindowController::toggleView(QAbstractButton* sender) {
    _darkToolbar->setSelectedIdxByButton(sender);
    displayViewForIdentifier(sender->text(), true);
}

QWidget* TabbedPrefsWindowController::viewForIdentifier(const QString& identifier) const {
    return _toolbarViews.value(identifier);
}

void TabbedPrefsWindowController::displayViewForIdentifier(const QString& identifier,
                                                           bool /*animate*/) {
    if (_contentSubview == nullptr) {
        return;
    }
    QWidget* view = viewForIdentifier(identifier);
    for (QWidget* shown : _contentSubview->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        shown->setParent(nullptr);
    }

    const QSize viewSize = view != nullptr ? view->size() : QSize(0, 0);
    const QRect current = _window->geometry();
    QRect target(0, 0, viewSize.width(), viewSize.height() + kToolbarHeight);
    target.moveBottomLeft(current.bottomLeft());
    animateWindowTo(target);

    if (view != nullptr) {
        view->setParent(_contentSubview);
        keepViewsAtBottom();
        view->show();
    }
}

bool TabbedPrefsWindowController::isAnimating() const {
    return _resizeAnimation != nullptr && _resizeAnimation->state() == QAbstractAnimation::Running;
}

void TabbedPrefsWindowController::animateWindowTo(const QRect& geometry) {
    _resizeAnimation->stop();
    const QRect current = _window->geometry();
    const int change = std::max(std::abs(geometry.width() - current.width()),
                                std::abs(geometry.height() - current.height()));
    _window->setMinimumSize(0, 0);
    _window->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    _resizeAnimation->setDuration(kResizeTime * change / 150);
    _resizeAnimation->setStartValue(current);
    _resizeAnimation->setEndValue(geometry);
    _resizeAnimation->start();
}

void TabbedPrefsWindowController::layOutWindow() {
    const int width = _window->width();
    _darkToolbar->setGeometry(0, 0, width, kToolbarHeight);
    _contentSubview->setGeometry(0, kToolbarHeight, width,
                                 std::max(0, _window->height() - kToolbarHeight));
}

void TabbedPrefsWindowController::keepViewsAtBottom() {
    // The window grows and shrinks at its top edge: what it shows stays where it is on screen.
    for (QWidget* view : _contentSubview->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        view->move(view->x(), _contentSubview->height() - view->height());
    }
}

bool TabbedPrefsWindowController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == _window.get()) {
        if (event->type() == QEvent::Resize) {
            layOutWindow();
        } else if (event->type() == QEvent::Close) {
            windowWillClose();
        }
    } else if (watched == _contentSubview && event->type() == QEvent::Resize) {
        keepViewsAtBottom();
    }
    return QObject::eventFilter(watched, event);
}

void TabbedPrefsWindowController::windowWillClose() {
    QCoreApplication::quit();
}

// The controller of a window whose views are switched by a row of buttons on a dark toolbar.
// It builds the window in code: the toolbar strip (kToolbarHeight high) at the top and, below it,
// a holder into which the chosen view is put. Choosing a view resizes the window, always
// animated, to the view's size plus the toolbar, keeping the window's bottom-left corner where it
// is, so the window grows and shrinks at its top edge. Closing the window quits the application.
//
// One instance is shared by this class and its subclasses (sharedPrefsWindowController); it lives
// until the application's end. Subclasses register their views in setupToolbar and may load
// their interface in loadNib. Registered views stay owned by whoever made them: the holder only
// shows them. Main-thread only.
#ifndef CORVIX_WINDOW_TABBEDPREFSWINDOWCONTROLLER_H
#define CORVIX_WINDOW_TABBEDPREFSWINDOWCONTROLLER_H

#include <QHash>
#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QStringList>

#include <memory>

class NSDarkToolBar;
class QAbstractButton;
class QPropertyAnimation;
class QWidget;

class TabbedPrefsWindowController : public QObject {
    Q_OBJECT

  public:
    static constexpr int kToolbarHeight = 65;
    static constexpr int kWindowLeft = 150;   // the window's left edge once it is placed
    static constexpr int kInitialSize = 300;  // width and height until the first view shows
    static constexpr int kResizeTime = 200;   // milliseconds of animation per 150 pixels
    static const char* const kWindowTitle;

    TabbedPrefsWindowController();
    ~TabbedPrefsWindowController() override;

    // The shared instance, made on first use.
    static TabbedPrefsWindowController* sharedPrefsWindowController();
    // Deletes the shared instance (and its window). The application does this at its end; tests
    // do it between cases.
    static void releaseSharedPrefsWindowController();

    // The window, built (and the interface loaded) on the first call.
    QWidget* window();

    // Registers view under label, with the image named label from the application's resources
    // (no image if there is none). The label is the view's identifier and its button's title.
    void addView(QWidget* view, const QString& label);
    void addView(QWidget* view, const QString& label, const QPixmap& image);

    // Builds the window if needed, registers the views (setupToolbar), shows the first one and
    // then the window. Meant to be called once: every call adds another row of buttons.
    void showWindow(QObject* sender);

    // What a toolbar button does: selects it on the toolbar and shows the view of its title.
    void toggleView(QAbstractButton* sender);

    // Puts the view registered under identifier into the holder (removing the one there, even if
    // it is the same) and animates the window to fit it. An unknown identifier leaves the holder
    // empty and the window at the toolbar's height. Before the window is built: nothing.
    // The window is always animated; animate is accepted for the callers' sake only.
    void displayViewForIdentifier(const QString& identifier, bool animate);

    const QStringList& toolbarIdentifiers() const { return _toolbarIdentifiers; }
    QWidget* viewForIdentifier(const QString& identifier) const;
    NSDarkToolBar* darkToolbar() const { return _darkToolbar; }
    QWidget* contentSubview() const { return _contentSubview; }
    // True while the window is moving towards the size of the view last chosen.
    bool isAnimating() const;

  signals:
    // The window has reached the size of the view last chosen (at once when it already had it).
    void resizeFinished();

  protected:
    // One shared reference for the class and its subclasses: make is called when there is none.
    static TabbedPrefsWindowController* sharedInstance(TabbedPrefsWindowController* (*make)());

    // Registers the views; this class has none.
    virtual void setupToolbar() {}
    // Loads the interface (the views and panels) before the window is built; this class has none.
    virtual void loadNib() {}

    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void windowDidLoad();
    void windowWillClose();
    void animateWindowTo(const QRect& geometry);
    void layOutWindow();
    void keepViewsAtBottom();

    QStringList _toolbarIdentifiers;
    QHash<QString, QPointer<QWidget>> _toolbarViews;
    std::unique_ptr<QWidget> _window;
    NSDarkToolBar* _darkToolbar = nullptr;
    QWidget* _contentSubview = nullptr;
    QPropertyAnimation* _resizeAnimation = nullptr;
};

#endif

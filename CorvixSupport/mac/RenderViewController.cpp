#include "RenderViewController.h"

#include <QAbstractButton>
#include <QAbstractTableModel>
#include <QFileInfo>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTableView>

#include "ExternalRenderManager.h"
#include "ExternalRenderer.h"
#include "ImageAndTextCell.h"
#include "PopUpButtonCell.h"
#include "RendererOverrideMap.h"
#include "SquareBezelTextCell.h"
#include "VeskDiagnostics.h"
#include "WindowDiagnostics.h"
#include "WindowDialogs.h"
#include "WindowResources.h"

const char* const RenderViewController::kEditRefusedTitle = "The renderer was not changed.";

namespace {

const char kApplication[] = "application";
const char kMode[] = "mode";
const char kPath[] = "path";
const char kStatus[] = "status";

}  // namespace

// The table's model: every question goes to the controller, by column identifier.
class RenderViewController::TableModel : public QAbstractTableModel {
  public:
    TableModel(RenderViewController& controller, const QStringList& identifiers,
               const QStringList& titles)
        : QAbstractTableModel(&controller),
          _controller(controller),
          _identifiers(identifiers),
          _titles(titles) {}

    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : _controller.numberOfRowsInTableView();
    }
    int columnCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(_identifiers.size());
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (!index.isValid()) {
            return QVariant();
        }
        if (role == Qt::DisplayRole || role == Qt::EditRole) {
            return _controller.objectValueFor(identifier(index), index.row());
        }
        if (role == Qt::DecorationRole) {
            const QPixmap image = _controller.imageFor(identifier(index), index.row());
            return image.isNull() ? QVariant() : QVariant(image);
        }
        return QVariant();
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override {
        if (orientation == Qt::Horizontal && role == Qt::DisplayRole) {
            return _titles.value(section, _identifiers.value(section));
        }
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    Qt::ItemFlags flags(const QModelIndex& index) const override {
        const QString column = identifier(index);
        const bool editable = column == kMode || column == kPath;
        return QAbstractTableModel::flags(index) |
               (editable ? Qt::ItemIsEditable : Qt::NoItemFlags);
    }
    bool setData(const QModelIndex& index, const QVariant& value, int role) override {
        return index.isValid() && role == Qt::EditRole &&
               _controller.setObjectValue(value, identifier(index), index.row());
    }

    // Every cell shown again, and open editors given the values; the rows stay selected.
    void reload() {
        if (rowCount(QModelIndex()) > 0 && !_identifiers.isEmpty()) {
            emit dataChanged(index(0, 0), index(rowCount(QModelIndex()) - 1,
                                                static_cast<int>(_identifiers.size()) - 1));
        }
    }

  private:
    QString identifier(const QModelIndex& index) const {
        return _identifiers.value(index.column());
    }

    RenderViewController& _controller;
    const QStringList _identifiers;
    const QStringList _titles;
};

RenderViewController::RenderViewController(QTableView* table, QAbstractButton* applyButton,
                                           std::function<WindowDialogs&()> dialogs, QObject* parent)
    : QObject(parent), _table(table), _applyButton(applyButton), _dialogs(std::move(dialogs)) {}

RenderViewController::~RenderViewController() = default;

void RenderViewController::awakeFromNib() {
    // The process keeps every pin it has read; a new view starts from the file as it is now.
    RendererOverrideMap::getInstance()->clear();
    _manager = std::make_unique<ExternalRenderManager>(ExternalRenderManager::kLockWhileCommitting);
    _model = new TableModel(*this, _table->property("columnIdentifiers").toStringList(),
                            _table->property("columnTitles").toStringList());
    _table->setModel(_model);

    QHeaderView* header = _table->horizontalHeader();
    const auto setUpColumn = [&](const char* identifier, QAbstractItemDelegate* cell,
                                 QHeaderView::ResizeMode resizeMode) {
        const int column = columnFor(identifier);
        if (column >= 0) {
            _table->setItemDelegateForColumn(column, cell);
            header->setSectionResizeMode(column, resizeMode);
        }
    };
    auto* status = new ImageAndTextCell(this);
    status->setImage(WindowResources::imageNamed("invalid.png"));
    auto* mode = new PopUpButtonCell({"Discover", "Specify"}, this);
    _pathCell = new SquareBezelTextCell(this);
    setUpColumn(kApplication, nullptr, QHeaderView::ResizeToContents);
    setUpColumn(kMode, mode, QHeaderView::ResizeToContents);
    setUpColumn(kPath, _pathCell, QHeaderView::Stretch);
    setUpColumn(kStatus, status, QHeaderView::ResizeToContents);
    if (columnFor(kMode) >= 0) {
        for (int row = 0; row < numberOfRowsInTableView(); ++row) {
            _table->openPersistentEditor(_model->index(row, columnFor(kMode)));
        }
    }
    _table->setAttribute(Qt::WA_MacShowFocusRect, false);

    connect(_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RenderViewController::selectionChanged);
    connect(_applyButton, &QAbstractButton::clicked, this, &RenderViewController::apply);
}

int RenderViewController::numberOfRowsInTableView() const {
    return _manager ? static_cast<int>(_manager->getRenderers().size()) : 0;
}

QVariant RenderViewController::objectValueFor(const QString& identifier, int row) const {
    if (row < 0 || row >= numberOfRowsInTableView()) {
        return QVariant();
    }
    const ExternalRenderer& renderer = *_manager->getRenderers()[static_cast<size_t>(row)];
    if (identifier == kApplication) {
        return QString::fromStdString(renderer.getName());
    }
    if (identifier == kStatus) {
        return QString(renderer.isValid() ? "Installed" : "Missing");
    }
    if (identifier == kMode) {
        return renderer.isOverridden() ? ExternalRenderManager::kModeSpecify
                                       : ExternalRenderManager::kModeDiscover;
    }
    if (identifier == kPath) {
        return QString::fromStdString(renderer.getPath());
    }
    return QString("-");
}

QPixmap RenderViewController::imageFor(const QString& identifier, int row) const {
    if (identifier != kStatus || row < 0 || row >= numberOfRowsInTableView()) {
        return QPixmap();
    }
    const bool valid = _manager->getRenderers()[static_cast<size_t>(row)]->isValid();
    return WindowResources::imageNamed(valid ? "valid.png" : "invalid.png");
}

bool RenderViewController::setObjectValue(const QVariant& value, const QString& identifier,
                                          int row) {
    const bool mode = identifier == kMode;
    const bool path = identifier == kPath && value.typeId() == QMetaType::QString;
    if (!_manager || (!mode && !path)) {
        return true;
    }
    bool done;
    std::string said;
    QString refusal;
    {
        WindowDiagnosticsCapture capture;
        done = mode ? _manager->setMode(static_cast<size_t>(row), value.toInt())
                    : _manager->setPath(static_cast<size_t>(row),
                                        value.toString().toUtf8().constData());
        said = capture.raw();
        refusal = capture.text();
    }
    _model->reload();
    if (!done) {
        alert(kEditRefusedTitle, refusal);
        return false;
    }
    // What discovery said on the way goes where the core's messages go outside an alert.
    vesk_diagnosticText(said);
    if (mode && value.toInt() == ExternalRenderManager::kModeSpecify) {
        selectionChanged();
    }
    return true;
}

void RenderViewController::selectionChanged() {
    const int path = columnFor(kPath);
    if (!_model || path < 0) {
        return;
    }
    const QModelIndexList selected = _table->selectionModel()->selectedRows();
    if (selected.isEmpty()) {
        return;
    }
    // Like any new edit, this one ends the edit in progress first.
    _pathCell->endEditing();
    _table->edit(_model->index(selected.last().row(), path));
}

void RenderViewController::apply() {
    if (!_manager) {
        return;
    }
    _pathCell->endEditing();
    if (!_manager->commitChanges()) {
        vesk_diagnostic("\n%s", _manager->getCommitError().c_str());
        alert(ExternalRenderManager::kCommitFailedTitle,
              ExternalRenderManager::kCommitFailedMessage);
        return;
    }
    alert(ExternalRenderManager::kCommitDoneTitle, ExternalRenderManager::kCommitDoneMessage);
}

void RenderViewController::browseForInput(const QString& startPath, int /*rowIndex*/) {
    OpenPanelOptions options;
    options.title = "Open a Cinema 4D File";
    options.prompt = "Open";
    options.canCreateDirectories = true;
    options.canChooseDirectories = false;
    options.canChooseFiles = true;
    options.allowsMultipleSelection = false;
    if (!startPath.isEmpty()) {
        const QFileInfo start(startPath);
        options.directory = start.path();
        options.fileName = start.fileName();
    }
    _dialogs().runOpenPanel(options);
}

int RenderViewController::columnFor(const QString& identifier) const {
    return static_cast<int>(
        _table->property("columnIdentifiers").toStringList().indexOf(identifier));
}

void RenderViewController::alert(const QString& title, const QString& message) {
    _dialogs().runAlertPanel(title, message, "Ok", QString());
}

#include "AttachmentsTableModel.h"

#include <QAbstractItemView>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

namespace {

const char kFilename[] = "filename";
const char kFilepath[] = "filepath";
constexpr int kIconSize = 16;

}  // namespace

AttachmentsTableModel::AttachmentsTableModel(const QStringList& files, QAbstractItemView* table,
                                             DropHandler dropped)
    : QAbstractTableModel(table),
      _files(files),
      _identifiers(table->property("columnIdentifiers").toStringList()),
      _titles(table->property("columnTitles").toStringList()),
      _dropped(std::move(dropped)) {
    table->setModel(this);
    table->setAcceptDrops(true);
    table->setDragDropMode(QAbstractItemView::DropOnly);
    table->setDropIndicatorShown(false);
}

QVariant AttachmentsTableModel::objectValueFor(const QString& identifier, int row) const {
    if (row < 0 || row >= numberOfRowsInTableView()) {
        return QString("-");
    }
    const QString& path = _files.at(row);
    return identifier == kFilepath ? path : QFileInfo(path).fileName();
}

QPixmap AttachmentsTableModel::imageFor(const QString& identifier, int row) const {
    if (identifier != kFilename || row < 0 || row >= numberOfRowsInTableView()) {
        return QPixmap();
    }
    return _icons.icon(QFileInfo(_files.at(row))).pixmap(kIconSize, kIconSize);
}

void AttachmentsTableModel::reloadData() {
    beginResetModel();
    endResetModel();
}

int AttachmentsTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : numberOfRowsInTableView();
}

int AttachmentsTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(_identifiers.size());
}

QVariant AttachmentsTableModel::data(const QModelIndex& index, int role) const {
    const QString identifier = _identifiers.value(index.column());
    switch (role) {
        case Qt::DisplayRole:
            return objectValueFor(identifier, index.row());
        case Qt::ToolTipRole:
            return objectValueFor(kFilepath, index.row());
        case Qt::DecorationRole: {
            const QPixmap image = imageFor(identifier, index.row());
            return image.isNull() ? QVariant() : QVariant(image);
        }
        default:
            return QVariant();
    }
}

QVariant AttachmentsTableModel::headerData(int section, Qt::Orientation orientation,
                                           int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole) {
        return _titles.value(section, _identifiers.value(section));
    }
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags AttachmentsTableModel::flags(const QModelIndex& index) const {
    // A drop anywhere on the table adds to the list: the table itself takes it.
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable : Qt::ItemIsDropEnabled;
}

QStringList AttachmentsTableModel::mimeTypes() const {
    return {"text/uri-list"};
}

Qt::DropActions AttachmentsTableModel::supportedDropActions() const {
    return Qt::CopyAction | Qt::LinkAction;
}

QStringList AttachmentsTableModel::droppedFiles(const QMimeData* data) {
    QStringList files;
    for (const QUrl& url : data != nullptr ? data->urls() : QList<QUrl>()) {
        const QString path = url.toLocalFile();
        if (!path.isEmpty() && !QFileInfo(path).isDir()) {
            files << path;
        }
    }
    return files;
}

bool AttachmentsTableModel::canDropMimeData(const QMimeData* data, Qt::DropAction /*action*/,
                                            int /*row*/, int /*column*/,
                                            const QModelIndex& /*parent*/) const {
    return !droppedFiles(data).isEmpty();
}

bool AttachmentsTableModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row,
                                         int column, const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent)) {
        return false;
    }
    _dropped(droppedFiles(data));
    return true;
}

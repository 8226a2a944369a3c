// The package panel's attachments table: one row per attached file, over a list the controller
// owns, in the columns named by the table's property "columnIdentifiers" ("filename": the file's
// name after its 16-pixel icon; "filepath": the full path) under the titles of its property
// "columnTitles". Rows are read only; reloadData shows the list as it is now.
//
// Files dropped onto the table from a file manager (local files; folders and anything else are
// turned away) are handed to the drop handler in the order they came.
//
// The list and the handler must outlive the model. Main-thread only.
#ifndef CORVIX_WINDOW_ATTACHMENTSTABLEMODEL_H
#define CORVIX_WINDOW_ATTACHMENTSTABLEMODEL_H

#include <QAbstractTableModel>
#include <QFileIconProvider>
#include <QStringList>

#include <functional>

class QAbstractItemView;

class AttachmentsTableModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    using DropHandler = std::function<void(const QStringList& paths)>;

    // Reads the columns from table, becomes its model and lets files be dropped onto it.
    AttachmentsTableModel(const QStringList& files, QAbstractItemView* table, DropHandler dropped);

    // The table's data: "-" for a row beyond the list; the full path for "filepath", the path's
    // last component for any other column.
    int numberOfRowsInTableView() const { return static_cast<int>(_files.size()); }
    QVariant objectValueFor(const QString& identifier, int row) const;
    // The file's icon at 16 by 16 for "filename"; null for the other columns.
    QPixmap imageFor(const QString& identifier, int row) const;
    void reloadData();

    int rowCount(const QModelIndex& parent) const override;
    int columnCount(const QModelIndex& parent) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    QStringList mimeTypes() const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

  private:
    // The local files among data's URLs; folders are left out.
    static QStringList droppedFiles(const QMimeData* data);

    const QStringList& _files;
    const QStringList _identifiers;
    const QStringList _titles;
    DropHandler _dropped;
    QFileIconProvider _icons;
};

#endif

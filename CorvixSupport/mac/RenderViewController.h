// The 3D Renderers view: a table of the external 3D renderers over an ExternalRenderManager (the
// core behind the command line's "renderers" too), with one row per renderer and the columns
// named by the table's property "columnIdentifiers": "application" (the renderer's name), "mode"
// (a pop-up: "Discover", "Specify"), "path" (the executable's path, editable) and "status"
// ("Installed" or "Missing" after the image "valid.png" or "invalid.png"). The table's header
// titles are its property "columnTitles". "Apply" writes the rows in "Specify" mode to
// "overrides.xml" and says how that went.
//
// The controller is the table's data source and delegate: it provides the table's model and
// cells, and every edit goes through the manager's row operations, which hold the rules and the
// refusals; the table is reloaded after each. An edit the manager refuses (a row outside the
// list, a path longer than a path buffer holds) shows the core's message in an alert and leaves
// the row as it was. Alerts and panels go through the dialogs that dialogs() returns at the time.
//
// The table and the button belong to the view's form; the controller does not own them and must
// not outlive them (make it a child of the view). Main-thread only.
#ifndef CORVIX_WINDOW_RENDERVIEWCONTROLLER_H
#define CORVIX_WINDOW_RENDERVIEWCONTROLLER_H

#include <QObject>
#include <QPixmap>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>

class ExternalRenderManager;
class QAbstractButton;
class QTableView;
class SquareBezelTextCell;
class WindowDialogs;

class RenderViewController : public QObject {
    Q_OBJECT

  public:
    static const char* const kEditRefusedTitle;

    RenderViewController(QTableView* table, QAbstractButton* applyButton,
                         std::function<WindowDialogs&()> dialogs, QObject* parent = nullptr);
    ~RenderViewController() override;

    // Scans the renderers folder (a new manager, reading "overrides.xml" as it is on disk) and
    // sets the table up: its model, the pop-up, path and status cells, no focus ring, a path
    // opened for editing whenever the selection changes, "Apply" bound to apply().
    void awakeFromNib();

    // The table's data: 0 rows until awakeFromNib. objectValueFor gives the name, the mode (1 for
    // "Specify", 0 for "Discover"), the path, "Installed" or "Missing"; "-" for any other column.
    int numberOfRowsInTableView() const;
    QVariant objectValueFor(const QString& identifier, int row) const;
    // The status cell's image; null for the other columns.
    QPixmap imageFor(const QString& identifier, int row) const;
    // An edit of one cell: "mode" by its integer value (1 "Specify": the row keeps its path, is
    // checked again and its path opened for editing; else "Discover": the row is read again from
    // its render control file without the override), "path" when the value is a string (the row
    // becomes "Specify"; a case-only change keeps the old text). Other columns change nothing.
    // False when the manager refused the edit (after the alert).
    bool setObjectValue(const QVariant& value, const QString& identifier, int row);

  public slots:
    // Ends an edit in progress (the typed path is stored first), writes "overrides.xml" and
    // tells the user whether that worked; on failure the rows stay as edited, and the cause is
    // written to the diagnostics sink.
    void apply();
    // Actions that do nothing.
    void addType() {}
    void rescan() {}
    // Starts editing the path of the selected row, its text selected; nothing without one.
    void selectionChanged();

  public:
    // An open panel for choosing a program, opening on startPath's folder with its file name
    // preselected. The choice is not used; no control calls it. rowIndex is not used either.
    void browseForInput(const QString& startPath, int rowIndex);

  private:
    class TableModel;

    int columnFor(const QString& identifier) const;
    void alert(const QString& title, const QString& message);

    QTableView* _table;
    QAbstractButton* _applyButton;
    std::function<WindowDialogs&()> _dialogs;
    std::unique_ptr<ExternalRenderManager> _manager;
    TableModel* _model = nullptr;
    SquareBezelTextCell* _pathCell = nullptr;
};

#endif

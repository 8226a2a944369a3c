// The package panel's "Review contents…" panel: every row the package job would collect on this
// machine now (PackageJob::plan, what the command line's dry run prints), each with a check box,
// its files and their sizes or its command line. Unticking a row leaves it out of the package;
// the system report's box cannot be unticked. All rows are ticked unless the caller's earlier
// choice left them out.
//
// Object names for tests: "_reviewPanel", "_reviewTree" (one top-level item per row, its name in
// Qt::UserRole; one child per file or command, its size in bytes in Qt::UserRole, -1 for a
// command), "_reviewDoneButton" (accepts), "_reviewCancelButton" (rejects).
//
// Ownership and threads: a child dialog of its parent; main thread only.
#ifndef CORVIX_WINDOW_PACKAGEREVIEWPANEL_H
#define CORVIX_WINDOW_PACKAGEREVIEWPANEL_H

#include <QDialog>
#include <QStringList>

#include <vector>

#include "PackageJob.h"

class QTreeWidget;

class PackageReviewPanel : public QDialog {
    Q_OBJECT

  public:
    explicit PackageReviewPanel(QWidget* parent = nullptr);

    // Lists plan; rows named in excluded start unticked.
    void setPlan(const std::vector<PackagePlanRow>& plan, const QStringList& excluded);

    // The names of the rows left unticked, in row order.
    QStringList excludedRows() const;

  private:
    QTreeWidget* _tree;
};

#endif

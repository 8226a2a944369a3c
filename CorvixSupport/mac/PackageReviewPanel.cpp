#include "PackageReviewPanel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "DarkButton.h"
#include "DarkTheme.h"
#include "NSDarkView.h"
#include "QuartzUtils.h"

namespace {

DarkButton* button(const char* name, const QString& title, int width, QWidget* parent) {
    auto* made = new DarkButton(parent);
    made->setObjectName(name);
    made->setText(title);
    made->setFixedSize(width, 22);
    return made;
}

QString sizeText(int64_t size) {
    return QLocale().formattedDataSize(size);
}

}  // namespace

PackageReviewPanel::PackageReviewPanel(QWidget* parent) : QDialog(parent) {
    setObjectName("_reviewPanel");
    setWindowTitle("Review Contents");
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    setPalette(palette);

    auto* explanation = new QLabel(
        "The package will hold what is listed here. Untick a row to leave it out; the system "
        "report is always sent.",
        this);
    explanation->setWordWrap(true);
    NSDarkView::setTextColor(explanation, QuartzUtils::deviceWhite(DarkTheme::kLabel));

    _tree = new QTreeWidget(this);
    _tree->setObjectName("_reviewTree");
    _tree->setColumnCount(2);
    _tree->setHeaderLabels({"Contents", "Size"});
    _tree->header()->setStretchLastSection(false);
    _tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    _tree->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    _tree->setTextElideMode(Qt::ElideMiddle);

    auto* cancel = button("_reviewCancelButton", "Cancel", 80, this);
    auto* done = button("_reviewDoneButton", "Done", 80, this);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(done);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addWidget(_tree);
    layout->addLayout(buttons);
    resize(620, 480);
}

void PackageReviewPanel::setPlan(const std::vector<PackagePlanRow>& plan,
                                 const QStringList& excluded) {
    _tree->clear();
    for (const PackagePlanRow& row : plan) {
        const QString name = QString::fromStdString(row._name);
        auto* rowItem = new QTreeWidgetItem(_tree, {QString::fromUtf8(row._row->_label)});
        rowItem->setData(0, Qt::UserRole, name);
        rowItem->setCheckState(0, excluded.contains(name) ? Qt::Unchecked : Qt::Checked);
        if (row._row->_operation == PackageOperation::SystemReport) {
            rowItem->setFlags(rowItem->flags() & ~Qt::ItemIsUserCheckable);
        }
        int64_t total = 0;
        for (const PackagePlanItem& item : row._items) {
            const bool command = row._row->_operation == PackageOperation::Capture;
            QString what = QString::fromStdString(item._what);
            QString size = item._size >= 0 ? sizeText(item._size) : QString();
            if (command) {
                what = "$ " + what;
            } else if (!item._skipped.empty()) {
                size = "skipped: " + QString::fromStdString(item._skipped);
            }
            auto* child = new QTreeWidgetItem(rowItem, {what, size});
            child->setData(1, Qt::UserRole, static_cast<qlonglong>(item._size));
            child->setToolTip(0, what);
            total += std::max<int64_t>(item._size, 0);
        }
        if (row._items.empty()) {
            new QTreeWidgetItem(rowItem, {"(nothing on this computer)", QString()});
        } else if (total > 0) {
            rowItem->setText(1, sizeText(total));
        }
    }
    _tree->expandAll();
}

QStringList PackageReviewPanel::excludedRows() const {
    QStringList excluded;
    for (int i = 0; i < _tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = _tree->topLevelItem(i);
        if (row->checkState(0) == Qt::Unchecked) {
            excluded << row->data(0, Qt::UserRole).toString();
        }
    }
    return excluded;
}

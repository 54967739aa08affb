#include "views/TCaseContentsForm.h"

#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace kelvane::ui {

TCaseContentsForm::TCaseContentsForm(const QString& databasePath,
                                     const std::vector<casefiles::ImportedFile>& files, QWidget* owner)
    : QDialog(owner) {
    setObjectName("CaseContentsForm");
    setWindowTitle("Case Contents");
    resize(980, 420);
    const QLocale locale;
    qint64 taken = 0, skipped = 0;
    for (const auto& file : files) {
        taken += file.eventsTaken;
        skipped += file.eventsSkipped;
    }
    LabelSummary = new QLabel(QString("%1\n%2 files imported: %3 events taken, %4 skipped")
                                  .arg(QDir::toNativeSeparators(databasePath))
                                  .arg(files.size())
                                  .arg(locale.toString(taken))
                                  .arg(locale.toString(skipped)),
                              this);
    LabelSummary->setObjectName("LabelSummary");
    LabelSummary->setTextInteractionFlags(Qt::TextSelectableByMouse);

    GridCaseFiles = new QTableWidget(static_cast<int>(files.size()), 7, this);
    GridCaseFiles->setObjectName("GridCaseFiles");
    GridCaseFiles->setHorizontalHeaderLabels(
        {"File", "Size", "SHA-256", "Events taken", "Skipped", "Why skipped", "Imported (UTC)"});
    GridCaseFiles->setEditTriggers(QAbstractItemView::NoEditTriggers);
    GridCaseFiles->verticalHeader()->hide();
    for (int row = 0; row < static_cast<int>(files.size()); ++row) {
        const auto& file = files[static_cast<size_t>(row)];
        const QStringList cells = {QDir::toNativeSeparators(file.path),
                                   locale.toString(file.size),
                                   file.sha256,
                                   locale.toString(file.eventsTaken),
                                   locale.toString(file.eventsSkipped),
                                   file.reason,
                                   file.importedAt.toString("yyyy-MM-dd hh:mm:ss")};
        for (int col = 0; col < cells.size(); ++col) {
            auto* item = new QTableWidgetItem(cells[col]);
            item->setToolTip(cells[col]);
            if (col == 1 || col == 3 || col == 4)
                item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            GridCaseFiles->setItem(row, col, item);
        }
    }
    GridCaseFiles->resizeColumnsToContents();
    GridCaseFiles->horizontalHeader()->setStretchLastSection(true);

    auto* close = new QPushButton("&Close", this);
    close->setObjectName("ButtonClose");
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(LabelSummary);
    layout->addWidget(GridCaseFiles, 1);
    layout->addLayout(buttons);
}

} // namespace kelvane::ui

#pragma once

#include "store/CaseFiles.h"

#include <QDialog>

#include <vector>

class QLabel;
class QTableWidget;

namespace kelvane::ui {

// File > Case Contents: the logs imported into the open case, with what was taken of each and why the
// rest was not.
class TCaseContentsForm : public QDialog {
    Q_OBJECT
public:
    TCaseContentsForm(const QString& databasePath, const std::vector<casefiles::ImportedFile>& files,
                      QWidget* owner);

private:
    QLabel* LabelSummary = nullptr;
    QTableWidget* GridCaseFiles = nullptr;
};

} // namespace kelvane::ui

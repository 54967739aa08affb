// The Detections tab: the Sigma rules that fired, by level, a rule's text and the events it fired on.
#include "views/TMainForm.h"

#include "details/gui/TDetailFormFactory.h"
#include "store/Detections.h"
#include "store/TMainDataModule.h"
#include "toolkit/TLinkGrid.h"
#include "toolkit/TPagedQueryModel.h"
#include "views/DetectionsModel.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTableWidget>
#include <QTreeView>
#include <QVBoxLayout>

namespace kelvane {

QWidget* TMainForm::buildDetectionsTab() {
    auto* tab = new QWidget(this);
    tab->setObjectName("TabSheetDetections");
    auto* layout = new QVBoxLayout(tab);
    layout->setContentsMargins(4, 4, 4, 4);

    auto* bar = new QHBoxLayout;
    DetectionsLevelFilter = new QComboBox(tab);
    DetectionsLevelFilter->setObjectName("DetectionsLevelFilter");
    DetectionsLevelFilter->addItem("All levels", QString());
    for (const char* level : detections::kLevels)
        DetectionsLevelFilter->addItem(level, QString(level));
    DetectionsTacticFilter = new QComboBox(tab);
    DetectionsTacticFilter->setObjectName("DetectionsTacticFilter");
    DetectionsSummary = new QLabel(tab);
    DetectionsSummary->setObjectName("DetectionsSummary");
    bar->addWidget(new QLabel("Level:", tab));
    bar->addWidget(DetectionsLevelFilter);
    bar->addWidget(new QLabel("ATT&&CK tactic:", tab));
    bar->addWidget(DetectionsTacticFilter);
    bar->addWidget(DetectionsSummary, 1);
    layout->addLayout(bar);

    auto* split = new QSplitter(Qt::Horizontal, tab);
    m_detectionsModel = new DetectionsModel(this);
    DetectionsTree = new QTreeView(split);
    DetectionsTree->setObjectName("DetectionsTree");
    DetectionsTree->setModel(m_detectionsModel);
    DetectionsTree->setUniformRowHeights(true);
    DetectionsTree->header()->setSectionResizeMode(DetectionsModel::Title, QHeaderView::Stretch);
    DetectionsTree->header()->setStretchLastSection(false);

    auto* right = new QSplitter(Qt::Vertical, split);
    DetectionRuleText = new QPlainTextEdit(right);
    DetectionRuleText->setObjectName("DetectionRuleText");
    DetectionRuleText->setReadOnly(true);
    DetectionEvents = new QTableWidget(0, 5, right);
    DetectionEvents->setObjectName("DetectionEvents");
    DetectionEvents->setHorizontalHeaderLabels({"GID", "UtcTime", "Event Type", "Computer", "Process GUID"});
    DetectionEvents->setEditTriggers(QAbstractItemView::NoEditTriggers);
    DetectionEvents->setSelectionBehavior(QAbstractItemView::SelectRows);
    DetectionEvents->verticalHeader()->hide();
    DetectionEvents->horizontalHeader()->setStretchLastSection(true);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    layout->addWidget(split, 1);

    auto refilter = [this] {
        m_detectionsModel->setFilter(DetectionsLevelFilter->currentData().toString(),
                                     DetectionsTacticFilter->currentData().toString());
        DetectionsTree->expandAll();
    };
    connect(DetectionsLevelFilter, &QComboBox::currentIndexChanged, this, refilter);
    connect(DetectionsTacticFilter, &QComboBox::currentIndexChanged, this, refilter);
    connect(DetectionsTree->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                guarded([&] { DetectionRuleSelected(current.data(DetectionsModel::RuleIdRole).toString()); });
            });
    connect(DetectionEvents, &QTableWidget::cellDoubleClicked, this,
            [this](int row, int) { guarded([&] { DetectionEventDblClick(row); }); });
    return tab;
}

namespace {

// A square of the level's colour with the number of detections in it.
QPixmap markPixmap(int rank, qint64 count) {
    QPixmap pixmap(28, 14);
    pixmap.fill(DetectionsModel::levelColor(rank));
    QPainter painter(&pixmap);
    QFont font = painter.font();
    font.setPixelSize(10);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, count > 999 ? QString("999+") : QString::number(count));
    return pixmap;
}

ui::TPagedQueryModel::Marker marker(const std::map<QString, std::pair<int, qint64>>& marks, bool upper) {
    return [&marks, upper](const QVariant& value, int role) -> QVariant {
        const QString key = upper ? value.toString().toUpper() : value.toString().toLower();
        const auto found = marks.find(key);
        if (found == marks.end())
            return {};
        const auto [rank, count] = found->second;
        if (role == Qt::DecorationRole)
            return markPixmap(rank, count);
        return QString("%1 detections, the highest %2").arg(count).arg(detections::kLevels[5 - rank]);
    };
}

} // namespace

void TMainForm::refreshDetections() {
    std::vector<detections::RuleSummary> rules;
    std::size_t skipped = 0;
    m_pathMarks.clear();
    m_sessionMarks.clear();
    if (m_data.HasDatabaseConnection()) {
        rules = detections::firedRules(m_data.connection());
        skipped = detections::skippedRules(m_data.connection()).size();
        for (const auto& [image, mark] : detections::marksByImage(m_data.connection()))
            m_pathMarks[image] = {mark.rank, mark.count};
        for (const auto& [guid, mark] : detections::marksByProcessGuid(m_data.connection()))
            m_sessionMarks[guid.toUpper()] = {mark.rank, mark.count};
    }
    cxGridImagePath->model()->setMarker(marker(m_pathMarks, false));
    cxGridImageSessions->model()->setMarker(marker(m_sessionMarks, true));
    qint64 matches = 0;
    for (const auto& rule : rules)
        matches += rule.count;
    m_detectionsModel->setRules(std::move(rules));
    const QSignalBlocker block(DetectionsTacticFilter);
    DetectionsTacticFilter->clear();
    DetectionsTacticFilter->addItem("All tactics", QString());
    for (const QString& tactic : m_detectionsModel->tactics())
        DetectionsTacticFilter->addItem(tactic, tactic);
    m_detectionsModel->setFilter(DetectionsLevelFilter->currentData().toString(), QString());
    DetectionsTree->expandAll();
    for (int c = DetectionsModel::Events; c < DetectionsModel::ColumnCount; ++c)
        DetectionsTree->resizeColumnToContents(c);
    DetectionsSummary->setText(QString("%1 rules fired on %2 events").arg(m_detectionsModel->rowCount() ? [&] {
        int n = 0;
        for (int g = 0; g < m_detectionsModel->rowCount(); ++g)
            n += m_detectionsModel->rowCount(m_detectionsModel->index(g, 0));
        return n;
    }() : 0).arg(matches) + (skipped ? QString("; %1 rule files skipped").arg(skipped) : QString()));
    DetectionRuleSelected(QString());
}

void TMainForm::DetectionRuleSelected(const QString& ruleId) {
    DetectionEvents->setRowCount(0);
    DetectionRuleText->clear();
    if (ruleId.isEmpty() || !m_data.HasDatabaseConnection())
        return;
    const detections::RuleDetails rule = detections::rule(m_data.connection(), ruleId);
    QString text = QString("%1\nLevel: %2    Status: %3\n\n%4\n")
                       .arg(rule.title, rule.level, rule.status, rule.description);
    if (!rule.tags.isEmpty())
        text += "\nTags: " + rule.tags.join(", ") + "\n";
    if (!rule.falsePositives.isEmpty())
        text += "False positives: " + rule.falsePositives.join("; ") + "\n";
    text += "\n" + rule.text;
    DetectionRuleText->setPlainText(text);
    const auto events = detections::eventLinesOfRule(m_data.connection(), ruleId);
    DetectionEvents->setRowCount(int(events.size()));
    for (int row = 0; row < int(events.size()); ++row) {
        const auto& e = events[row];
        auto* gid = new QTableWidgetItem(QString::number(e.gid));
        gid->setData(Qt::UserRole, e.eventType);
        DetectionEvents->setItem(row, 0, gid);
        DetectionEvents->setItem(row, 1, new QTableWidgetItem(e.utcTime));
        DetectionEvents->setItem(row, 2, new QTableWidgetItem(e.eventTypeName));
        DetectionEvents->setItem(row, 3, new QTableWidgetItem(e.computer));
        DetectionEvents->setItem(row, 4, new QTableWidgetItem(e.processGuid));
    }
}

void TMainForm::DetectionEventDblClick(int row) {
    const QTableWidgetItem* gid = DetectionEvents->item(row, 0);
    if (gid)
        openDetailFormByType(this, m_data, gid->data(Qt::UserRole).toInt(), gid->text().toLongLong());
}

} // namespace kelvane

#pragma once

#include "details/DetailFormLayouts.h"

#include <QString>
#include <QStyleOptionViewItem>
#include <QWidget>

class QCheckBox;
class QLabel;
class QSplitter;
class QStatusBar;
class QToolButton;
class QTreeWidgetItem;

namespace kelvane {
class TMainDataModule;
class TVirusTotalLookup;
struct VTOutcome;
struct VTTreeNode;
} // namespace kelvane

namespace kelvane::ui {

class TPropertyGrid;
class TElidedLabel;
class TTreeList;

// The frame that every event detail form shares: a property grid with one row per field of the
// event's row in its type's table. What sets the forms apart (rows, captions, links, sizes, title)
// is their layout; the classes in TDetailForms.h only pick one. The form frees itself on closing.
class TEventDetailForm : public QWidget {
    Q_OBJECT

public:
    // `owner` is the opening window: closing it closes the form.
    TEventDetailForm(const DetailFormLayout& layout, QWidget* owner);

    // The data module the form reads from; set by its opener before SetQueryParams.
    void setDataModule(TMainDataModule& data) { m_data = &data; }

    // Reads the row whose FID is GID from TableName (an event table of the catalogue) into the grid.
    // A GID with no row leaves every value empty. Throws on an unknown table or a database fault.
    void SetQueryParams(const QString& TableName, qint64 GID);

    const DetailFormLayout& formLayout() const { return m_layout; }
    TPropertyGrid* grid() const { return m_grid; }
    // The items of the event that its table has no column for, under the sheet's own items.
    TPropertyGrid* moreItemsGrid() const { return m_moreGrid; }
    // The shown text of the row for `field`, or an empty text when the form has no such row.
    QString fieldText(const QString& field) const;

    // The VirusTotal panel of the forms with hash, address or host name rows (null elsewhere).
    // Its handlers live in TEventDetailFormVirusTotal.cpp.
    void CheckBoxVTClick();
    void FormShow();
    // A click on a hash row: needs the box checked; "nohash" asks nothing.
    void hashRowClick(const QString& field);
    // A click on an address row: needs the box checked; private addresses are refused.
    void ipRowClick(const QString& field);
    // A click on a host name row: asks for its domain, whatever the box says.
    void domainRowClick(const QString& field);
    QString statusText() const;
    // The process create sheet's way to its process in the Hierarchy tab: the main window focuses the
    // tree on the process of the sheet's GUID.
    void showInHierarchy();
    bool virusTotalBusy() const;
    // Points the lookups at another server (tests, a proxy); the default is the public API.
    void setVirusTotalAddress(const QString& baseUrl);

    QStatusBar* StatusBar = nullptr;
    TElidedLabel* StatusBarPanel = nullptr;
    QWidget* PanelBottom = nullptr;
    QLabel* LabelDetections = nullptr;
    QWidget* PanelOptions = nullptr;
    QCheckBox* CheckBoxVT = nullptr;
    TTreeList* cxTreeListVTDisplay = nullptr;
    // The positives of the file report read last; colours every row of the hash forms.
    QString FPositive;

signals:
    // A hash, address or host name row was clicked; the reputation lookups take it from here.
    void reputationLinkClicked(kelvane::RowAction action, const QString& value);
    // A VirusTotal lookup has ended, whatever its end (tests wait for this).
    void virusTotalFinished();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void buildVirusTotalPanel();
    void showDetections(qint64 gid);
    void startLookup(int kind, const QString& subject);
    void applyOutcome(const VTOutcome& outcome);
    QTreeWidgetItem* addTreeNode(QTreeWidgetItem* parent, const VTTreeNode& node);
    void setWaiting(bool waiting);
    void setStatus(const QString& text);
    void cxTreeListVTDisplayCustomDrawDataCell(const QTreeWidgetItem* item, int column,
                                               QStyleOptionViewItem& option) const;
    bool isNetworkForm() const;
    void connectLookup();

    void rowLinkClicked(int row);
    void openSession(const QString& guid);
    void openRegistryKey(const QString& keyPath);

    QWidget* buildItemsPanel();
    void showMoreItems(qint64 gid);

    const DetailFormLayout& m_layout;
    TMainDataModule* m_data = nullptr;
    TPropertyGrid* m_grid = nullptr;
    TPropertyGrid* m_moreGrid = nullptr;
    QToolButton* m_moreButton = nullptr;
    // Holds the grid, so that a panel can be added under it.
    QSplitter* Splitter = nullptr;
    TVirusTotalLookup* m_lookup = nullptr;
};

} // namespace kelvane::ui

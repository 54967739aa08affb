#pragma once

#include "details/DetailFormLayouts.h"

#include <QString>
#include <QWidget>

class QSplitter;

namespace kelvane::ui {

class TPropertyGrid;

// The frame that every event detail form shares: a property grid with one row per field of the
// event's row in its type's table. What sets the forms apart (rows, captions, links, sizes, title)
// is their layout; the classes in TDetailForms.h only pick one. The form frees itself on closing.
class TEventDetailForm : public QWidget {
    Q_OBJECT

public:
    // `owner` is the opening window: closing it closes the form.
    TEventDetailForm(const DetailFormLayout& layout, QWidget* owner);

    // Reads the row whose FID is GID from TableName (an event table of the catalogue) into the grid.
    // A GID with no row leaves every value empty. Throws on an unknown table or a database fault.
    void SetQueryParams(const QString& TableName, qint64 GID);

    const DetailFormLayout& formLayout() const { return m_layout; }
    TPropertyGrid* grid() const { return m_grid; }
    // The shown text of the row for `field`, or an empty text when the form has no such row.
    QString fieldText(const QString& field) const;

signals:
    // A hash, address or host name row was clicked; the reputation lookups take it from here.
    void reputationLinkClicked(kelvane::RowAction action, const QString& value);

private:
    void rowLinkClicked(int row);
    void openSession(const QString& guid);
    void openRegistryKey(const QString& keyPath);

    const DetailFormLayout& m_layout;
    TPropertyGrid* m_grid = nullptr;
    // Holds the grid, so that a panel can be added under it.
    QSplitter* Splitter = nullptr;
};

} // namespace kelvane::ui

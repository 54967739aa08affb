#pragma once

#include "store/TPagedQuery.h"

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>

class QLineEdit;
class QTableView;
class QTimer;

namespace kelvane::ui {

class TLinkTableView;
class TPagedQueryModel;

// A one-column list of one-click links over the rows of a query, with a find box above it. Typing in
// the find box narrows this list only, a moment after the typing stops. A click on a cell emits
// linkClicked with the cell's text, and so do moving the current row by keyboard and Enter; the selection
// carries no meaning. With no rows (no query, an empty result, or nothing found) the list says "nothing
// yet!".
class TLinkGrid : public QWidget {
    Q_OBJECT
    Q_PROPERTY(bool emptyTextShown READ emptyTextShown)

public:
    static constexpr int FindDelayMs = 250;

    explicit TLinkGrid(QWidget* parent = nullptr);
    ~TLinkGrid() override;

    // Shows the rows of query, narrowed by the find box's text. A failing query throws sql::Error
    // and the grid keeps what it showed.
    void setQuery(std::unique_ptr<TPagedQuery> query);
    // Drops the query: no rows. The find box keeps its text for the next query.
    void clear();

    TPagedQueryModel* model() const { return m_model; }
    QLineEdit* findBox() const { return m_findBox; }
    QTableView* view() const;

    // The tooltip of a row, asked for its value when the pointer rests on it.
    void setToolTipSource(std::function<QString(const QString& value)> source);

    bool emptyTextShown() const;
    static QString emptyText() { return QStringLiteral("nothing yet!"); }

signals:
    void linkClicked(const QString& value);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void applyFindText();

    QLineEdit* m_findBox = nullptr;
    TLinkTableView* m_view = nullptr;
    TPagedQueryModel* m_model = nullptr;
    QTimer* m_findDelay = nullptr;
    std::function<QString(const QString&)> m_toolTip;
};

} // namespace kelvane::ui

#include "store/AllEventsGridDescription.h"

#include "store/AllEventsLayout.h"
#include "store/Schema.h"

namespace kelvane {

AllEventsGridDescription AllEventsGridDescription::initial() {
    AllEventsGridDescription description;
    for (const MasterColumn& column : masterColumns())
        description.columns.append({QString::fromLatin1(column.field), QString::fromLatin1(column.caption)});
    return description;
}

std::string AllEventsGridDescription::sql() const {
    std::string statement = schema::searchAllEventsQuery();
    while (!statement.empty() && (statement.back() == ';' || statement.back() == '\n'))
        statement.pop_back();
    std::string text = "SELECT ";
    for (qsizetype i = 0; i < columns.size(); ++i)
        text += (i ? ", " : "") + columns[i].field.toStdString();
    text += " FROM (\n" + statement + "\n)\nORDER BY ";
    for (const QString& field : groupFields)
        text += field.toStdString() + ", ";
    if (!sortField.isEmpty())
        text += sortField.toStdString() + (sortAscending ? "" : " DESC") + ", ";
    text += "GID";
    return text;
}

void AllEventsGridDescription::bindTerm(sql::Statement& stmt) const {
    stmt.bind(stmt.parameterIndex(":TermParam"), std::string_view(term.toStdString()));
}

} // namespace kelvane

#include "store/NetworkTrafficGrid.h"

#include <algorithm>

namespace kelvane {

namespace {

QVariant cell(const sql::Statement& stmt, int column) {
    switch (stmt.columnType(column)) {
    case SQLITE_INTEGER:
        return QVariant::fromValue<qlonglong>(stmt.columnInt64(column));
    case SQLITE_FLOAT:
        return stmt.columnDouble(column);
    case SQLITE_NULL:
        return {};
    default: {
        const std::string_view text = stmt.columnText(column);
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    }
}

std::string fieldList() {
    std::string fields;
    for (const NetworkTrafficGrid::Column& c : NetworkTrafficGrid::columns())
        fields += (fields.empty() ? "" : ", ") + c.field.toStdString();
    return fields;
}

} // namespace

const std::vector<NetworkTrafficGrid::Column>& NetworkTrafficGrid::columns() {
    static const std::vector<Column> list = {
        {"cxGridNetworkEventsViewUtcTime", "UtcTime", "UTC time", 115},
        {"cxGridNetworkEventsViewProcessGuid", "ProcessGuid", "Process GUID", 240},
        {"cxGridNetworkEventsViewImage", "Image", "Image", 154},
        {"cxGridNetworkEventsViewComputer", "Computer", "Computer", 182},
        {"cxGridNetworkEventsViewUser", "User", "User", 138},
        {"cxGridNetworkEventsViewProtocol", "Protocol", "Protocol", 90},
        {"cxGridNetworkEventsViewSourceIp", "SourceIp", "Source IP", 110},
        {"cxGridNetworkEventsViewSourcePort", "SourcePort", "Source port", 60},
        {"cxGridNetworkEventsViewSourceCountry", "SourceCountry", "Source country", 100},
        {"cxGridNetworkEventsViewDestinationIp", "DestinationIp", "Destination IP", 110},
        {"cxGridNetworkEventsViewDestinationPort", "DestinationPort", "Destination port", 60},
        {"cxGridNetworkEventsViewDestinationCountry", "DestinationCountry", "Destination country", 100},
        {"cxGridNetworkEventsViewRuleName", "RuleName", "RuleName", 0},
    };
    return list;
}

QStringList NetworkTrafficGrid::captions() {
    QStringList list;
    for (const Column& c : columns())
        list << c.caption;
    return list;
}

std::string NetworkTrafficGrid::querySql() {
    return "SELECT * FROM NetworkConnectionDetected\n"
           "WHERE UPPER(DestinationCountryCode) = UPPER(:Code)";
}

std::string NetworkTrafficGrid::rowsSql() {
    return "SELECT " + fieldList() + " FROM (" + querySql() + ")";
}

NetworkTrafficRows::NetworkTrafficRows(sql::Database& db, const QString& code) : m_db(db) {
    sql::Statement find = db.prepare("SELECT rowid FROM NetworkConnectionDetected "
                                     "WHERE UPPER(DestinationCountryCode) = UPPER(?) ORDER BY rowid");
    const QByteArray utf8 = code.toUtf8();
    find.bind(1, std::string_view(utf8.constData(), static_cast<size_t>(utf8.size())));
    while (find.step())
        m_rowIds.push_back(find.columnInt64(0));
}

QVariant NetworkTrafficRows::value(int row, int column) {
    if (row < 0 || row >= rowCount() || column < 0 || column >= columnCount())
        return {};
    const std::vector<QVariant>& cells = page(row / kPageRows);
    return cells.at(static_cast<size_t>((row % kPageRows) * columnCount() + column));
}

const std::vector<QVariant>& NetworkTrafficRows::page(int index) {
    if (auto found = m_pages.find(index); found != m_pages.end())
        return found->second;
    if (m_pages.size() >= kMaxPages)
        m_pages.clear();
    const size_t first = static_cast<size_t>(index) * kPageRows;
    const size_t last = std::min(first + kPageRows, m_rowIds.size());
    // The page's row ids are numbers of our own: they go into the text as they are.
    std::string ids;
    for (size_t i = first; i < last; ++i)
        ids += (i == first ? "" : ",") + std::to_string(m_rowIds[i]);
    sql::Statement read = m_db.prepare("SELECT rowid, " + fieldList() +
                                       " FROM NetworkConnectionDetected WHERE rowid IN (" + ids + ")");
    std::unordered_map<std::int64_t, std::vector<QVariant>> byId;
    while (read.step()) {
        std::vector<QVariant>& cells = byId[read.columnInt64(0)];
        for (int c = 0; c < columnCount(); ++c)
            cells.push_back(cell(read, c + 1));
    }
    std::vector<QVariant> cells;
    cells.reserve((last - first) * static_cast<size_t>(columnCount()));
    for (size_t i = first; i < last; ++i) {
        auto found = byId.find(m_rowIds[i]);
        for (int c = 0; c < columnCount(); ++c)
            cells.push_back(found == byId.end() ? QVariant() : found->second[static_cast<size_t>(c)]);
    }
    return m_pages.emplace(index, std::move(cells)).first->second;
}

} // namespace kelvane

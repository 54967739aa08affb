#include "store/ProcessViewQueries.h"

#include "store/Sqlite.h"
#include "store/TMainDataModule.h"

namespace kelvane {

namespace {

std::unique_ptr<TPagedQuery> listOf(TMainDataModule& data, const char* queryName) {
    // An opened query brings its connection up again.
    data.OpenDatabase();
    return std::make_unique<TPagedQuery>(data.connection(), data.query(queryName));
}

} // namespace

std::span<const EventFilterEntry> eventFilterEntries() {
    return catalogue::processViewFilter();
}

std::string imagesQueryText(const std::vector<bool>& ticked) {
    std::vector<std::string> lines{"SELECT ImageExe FROM AllImageExes"};
    const auto entries = eventFilterEntries();
    for (size_t i = 0; i < entries.size() && i < ticked.size(); ++i)
        if (ticked[i])
            lines.push_back("EventType = " + std::to_string(entries[i].eventType));
    if (lines.size() == 1)
        return lines.front();
    lines[1].insert(0, "WHERE ");
    for (size_t i = 1; i + 1 < lines.size(); ++i)
        lines[i] += " OR";
    lines.push_back("GROUP BY ImageExe");
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

bool applyImagesFilter(TMainDataModule& data, const std::vector<bool>& ticked) {
    const std::string text = imagesQueryText(ticked);
    data.query("FDQueryExes").setSql(text);
    return text.find('\n') != std::string::npos;
}

std::unique_ptr<TPagedQuery> imagesList(TMainDataModule& data) {
    return listOf(data, "FDQueryExes");
}

std::unique_ptr<TPagedQuery> pathsOfImage(TMainDataModule& data, const QString& exeName) {
    data.query("FDQueryImages").setParam("ImageName", exeName);
    return listOf(data, "FDQueryImages");
}

std::unique_ptr<TPagedQuery> sessionsOfPath(TMainDataModule& data, const QString& image) {
    data.query("FDQuerySessions").setParam("ImageName", image);
    return listOf(data, "FDQuerySessions");
}

QString sessionSummary(sql::Database& db, const QString& guid) {
    sql::Statement creation = db.prepare("SELECT UtcTime, ProcessId, User, CommandLine FROM ProcessCreate "
                                         "WHERE UPPER(ProcessGuid) = UPPER(?1) ORDER BY UtcTime LIMIT 1");
    const QByteArray key = guid.toUtf8();
    creation.bind(1, std::string_view(key.constData(), static_cast<size_t>(key.size())));
    if (!creation.step())
        return QStringLiteral("No process creation was logged for this session.");
    const auto text = [&](int column) {
        const std::string_view value = creation.columnText(column);
        return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
    };
    return QStringLiteral("Started: %1 (UTC)\nProcess id: %2\nUser: %3\nCommand line: %4")
        .arg(text(0), text(1), text(2), text(3));
}

} // namespace kelvane

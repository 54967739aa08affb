#include "store/TMainDataModule.h"

#include "store/Schema.h"

#include <QtGlobal>

namespace kelvane {

TMainDataModule* MainDataModule = nullptr;

namespace {

std::string joined(std::initializer_list<const char*> lines) {
    std::string text;
    for (const char* line : lines) {
        if (!text.empty())
            text += '\n';
        text += line;
    }
    return text;
}

} // namespace

TMainDataModule::TMainDataModule() {
    for (const char* tableName : schema::writeDatasetOrder()) {
        const TableDef* table = schema::table(tableName);
        m_datasets.push_back(std::make_unique<TTableDataset>(*table, schema::writeFields(*table)));
        m_datasets.back()->setOrdinal(static_cast<int>(m_datasets.size()) - 1);
    }

    addQuery("FDQueryCheckTablesExist", "SELECT COUNT(name) FROM sqlite_master");
    addQuery("FDQueryDeleteAll", schema::deleteAllScript());
    addQuery("FDQueryCheckData", schema::checkDataQuery());
    addQuery("FDQueryBuildDatabaseStructure", schema::creationScript());
    addQuery("FDQueryExes", joined({"SELECT ImageExe FROM AllImageExes", "GROUP BY LOWER(ImageExe);"}));
    addQuery("FDQueryImages",
             joined({"SELECT Image FROM AllImageExes", "WHERE LOWER(ImageExe) = LOWER(:ImageName)",
                     "GROUP BY LOWER(Image);"}));
    addQuery("FDQuerySessions",
             joined({"SELECT ProcessGuid FROM AllImageExes", "WHERE LOWER(Image) = LOWER(:ImageName)",
                     "GROUP BY UPPER(ProcessGuid);"}));
    addQuery("FDQueryGetSessionEvents",
             joined({"SELECT * FROM AllEvents", "WHERE UPPER(CorrelationGuid) = UPPER(:ProcessGuid)",
                     "ORDER BY UtcTime"}));
    addQuery("FDQueryGetSessionEventsCount",
             joined({"SELECT COUNT(*) AS TOTAL_COUNT FROM AllEvents",
                     "WHERE UPPER(CorrelationGuid) = UPPER(:ProcessGuid)", "ORDER BY UtcTime"}));
    addQuery("FDQueryCountries",
             joined({"SELECT DestinationCountryCode, COUNT(DestinationCountryCode) AS Count FROM "
                     "NetworkConnectionDetected",
                     "WHERE DestinationCountryCode <> 'n/a' and DestinationCountryCode <> ''",
                     "GROUP BY DestinationCountryCode"}));
    addQuery("FDQueryVersion", "SELECT * FROM KelvaneVersion");
    addQuery("FDQueryAllAllEvents", schema::searchAllEventsQuery());
    addQuery("FDQueryGetInvolvedProcesses",
             joined({"SELECT ImageExe, COUNT(*) FROM ProcessCreate", "GROUP BY ImageExe"}));
    addQuery(
        "FDQueryGetProcessCreationData",
        joined({"SELECT UtcTime,", "ProcessGuid,", "ParentProcessGuid,", "ImageExe,", "ParentImageExe,",
                "FID", "FROM ProcessCreate",
                "WHERE ParentProcessGuid IN (SELECT ProcessGuid FROM ProcessCreate)", "ORDER BY UtcTime;"}));
    addQuery("FDQueryGetProcessTermination",
             joined({"SELECT UtcTime,", "ProcessGuid,", "ImageExe", "FROM ProcessTerminated",
                     "WHERE ProcessGuid IS :PROCESSGUID"}));
    addQuery("FDQueryGetParentProcessCreationData",
             joined({"SELECT UtcTime,", "ProcessGuid,", "ParentProcessGuid,", "ImageExe,", "ParentImageExe,",
                     "FID", "FROM ProcessCreate", "WHERE ProcessGuid IS :PARENTPROCESSGUID",
                     "ORDER BY UtcTime;"}));

    for (const char* tableName : schema::allEventsViewOrder()) {
        const TableDef* table = schema::table(tableName);
        if (*table->readName)
            addQuery(table->readName, std::string("SELECT * FROM ") + table->name);
    }
}

TMainDataModule::~TMainDataModule() {
    try {
        CloseDatabaseAndTables();
    } catch (const std::exception& e) {
        // Nobody is left to show it to but the console.
        qWarning("%s", e.what());
    }
}

void TMainDataModule::addQuery(const QString& name, std::string sql) {
    m_queries[name] = std::make_unique<TQuery>(name, std::move(sql));
}

sql::Database& TMainDataModule::connection() {
    if (!m_connection)
        throw sql::Error("Database connection is not open", SQLITE_MISUSE);
    return *m_connection;
}

void TMainDataModule::OpenDatabase() {
    if (m_connection)
        return;
    m_connection = std::make_unique<sql::Database>(
        m_databasePath.toStdString(), m_readOnly ? sql::Database::ReadOnly : sql::Database::ReadWrite);
}

void TMainDataModule::CloseDatabase() {
    if (!m_connection)
        return;
    // Closing the connection takes every dataset and query on it down.
    for (auto& [name, q] : m_queries)
        q->close();
    for (auto& dataset : m_datasets)
        dataset->close();
    m_allEventsViewActive = false;
    // The connection goes whatever happens; rows of a batch it could not commit are rolled back with
    // it, and the caller hears so.
    const std::unique_ptr<sql::Database> closing = std::move(m_connection);
    if (m_inBatch) {
        m_inBatch = false;
        try {
            closing->exec("COMMIT");
        } catch (const sql::Error& e) {
            throw sql::Error(std::string("The last events could not be written to the database: ") + e.what(),
                             e.code());
        }
    }
}

void TMainDataModule::OpenDatabaseAndTables() {
    OpenDatabase();
    for (auto& dataset : m_datasets)
        dataset->open(*m_connection);
}

void TMainDataModule::CloseTablesOnly() {
    for (auto& dataset : m_datasets)
        dataset->close();
}

void TMainDataModule::CloseDatabaseAndTables() {
    CloseDatabase();
    CloseTablesOnly();
}

void TMainDataModule::OpenCloseAllEventsViewTables(bool active) {
    for (const char* tableName : schema::allEventsViewOrder()) {
        const TableDef* table = schema::table(tableName);
        const QString name = *table->readName ? QString(table->readName) : QString("FDQueryAllAllEvents");
        TQuery& q = query(name);
        // The search scans every event table; the view runs it on a thread of its own, with the
        // parameter as last set, instead of stopping the window here.
        if (active && name == "FDQueryAllAllEvents")
            continue;
        if (active)
            q.open(connection());
        else
            q.close();
    }
    m_allEventsViewActive = active;
}

void TMainDataModule::BuildDatabaseStructure() {
    OpenDatabase();
    TQuery& q = query("FDQueryBuildDatabaseStructure");
    // One transaction for the whole script: one sync to disk instead of one per table, and a script that
    // fails half way leaves no half-built schema behind.
    sql::Transaction transaction(*m_connection);
    q.execute(*m_connection);
    q.close();
    transaction.commit();
}

void TMainDataModule::DeleteAll() {
    if (!HasDatabaseConnection())
        OpenDatabase();
    query("FDQueryDeleteAll").execute(*m_connection);
}

bool TMainDataModule::TablesExist() {
    return GetTableCount() == schema::kTableCount;
}

int TMainDataModule::GetTableCount() {
    OpenDatabase();
    TQuery& q = query("FDQueryCheckTablesExist");
    q.open(*m_connection);
    const int count = q.value(0).toInt();
    q.close();
    return count;
}

bool TMainDataModule::HasImportedData() {
    if (!TablesExist())
        return false;
    OpenDatabase();
    TQuery& q = query("FDQueryCheckData");
    q.open(*m_connection);
    const bool hasRows = !q.eof();
    q.close();
    return hasRows;
}

QString TMainDataModule::GetDatabaseVersion() {
    QString version;
    OpenDatabase();
    TQuery& q = query("FDQueryVersion");
    q.open(*m_connection);
    version = q.text(0);
    q.close();
    return version;
}

void TMainDataModule::beginBatch() {
    if (m_inBatch)
        return;
    connection().exec("BEGIN");
    m_inBatch = true;
}

void TMainDataModule::commitBatch() {
    if (!m_inBatch)
        return;
    sql::Database& db = connection();
    // Some failures (a full disk, say) make the library roll the transaction back by itself.
    if (sqlite3_get_autocommit(db.handle())) {
        m_inBatch = false;
        throw sql::Error("the transaction was rolled back after an earlier failure", SQLITE_ABORT);
    }
    // The batch stays open until its commit has succeeded: a failed one is rolled back by rollbackBatch.
    db.exec("COMMIT");
    m_inBatch = false;
}

void TMainDataModule::rollbackBatch() {
    if (!m_inBatch)
        return;
    m_inBatch = false;
    sql::Database& db = connection();
    if (sqlite3_get_autocommit(db.handle()))
        return;
    try {
        db.exec("ROLLBACK");
    } catch (const sql::Error&) {
        // Nothing more can be done for the batch; the file keeps what was committed before it.
    }
}

TTableDataset& TMainDataModule::dataset(const QString& datasetName) {
    const std::string name = datasetName.toStdString();
    for (auto& dataset : m_datasets)
        if (dataset->name() == name)
            return *dataset;
    throw DatasetError("Dataset '" + name + "' not found");
}

TTableDataset& TMainDataModule::tableDataset(std::string_view tableName) {
    for (auto& dataset : m_datasets)
        if (tableName == dataset->table().name)
            return *dataset;
    throw DatasetError("Dataset of table '" + std::string(tableName) + "' not found");
}

TQuery& TMainDataModule::query(const QString& name) {
    const auto it = m_queries.find(name);
    if (it == m_queries.end())
        throw DatasetError("Query '" + name.toStdString() + "' not found");
    return *it->second;
}

QStringList TMainDataModule::queryNames() const {
    QStringList names;
    for (const auto& [name, q] : m_queries)
        names << name;
    return names;
}

} // namespace kelvane

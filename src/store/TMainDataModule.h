#pragma once

#include "store/Sqlite.h"
#include "store/TDatasetSource.h"
#include "store/TQuery.h"
#include "store/TTableDataset.h"

#include <QString>

#include <map>
#include <memory>
#include <vector>

namespace kelvane {

// The one object through which the program reaches the database: the connection, the write-side
// datasets of the importers and the named queries of the views. Only one thread uses it at a time.
class TMainDataModule : public TDatasetSource {
public:
    TMainDataModule();
    ~TMainDataModule() override;
    TMainDataModule(const TMainDataModule&) = delete;
    TMainDataModule& operator=(const TMainDataModule&) = delete;

    // KelvaneDBConnection's setting: the database file (configured by the main window; opens nothing).
    void setDatabasePath(const QString& path) { m_databasePath = path; }
    const QString& databasePath() const { return m_databasePath; }
    // For programs that only read: the connection is opened read-only and never makes a file.
    void setReadOnly(bool readOnly) { m_readOnly = readOnly; }

    void OpenDatabase();
    // Commits a batch still open; throws sql::Error when that fails, with the connection closed all
    // the same (the batch's rows are lost then).
    void CloseDatabase();
    void OpenDatabaseAndTables();
    void CloseTablesOnly();
    void CloseDatabaseAndTables();
    void OpenCloseAllEventsViewTables(bool active);
    void BuildDatabaseStructure();
    void DeleteAll();
    bool HasDatabaseConnection() const { return m_connection != nullptr; }
    bool TablesExist();
    int GetTableCount();
    bool HasImportedData();
    QString GetDatabaseVersion();

    // Writes go into one transaction until it is committed; the importer commits in batches so that
    // a posted row does not cost one commit each.
    void beginBatch();
    // Throws when the commit fails; the batch then stays open until rollbackBatch.
    void commitBatch();
    void rollbackBatch();
    bool inBatch() const { return m_inBatch; }

    // Write-side dataset by its name (ProcesscreateTable) or by its table (ProcessCreate).
    TTableDataset& dataset(const QString& datasetName);
    TTableDataset& tableDataset(std::string_view tableName) override;
    // The write-side dataset at a place of the open/close order (its ordinal).
    TTableDataset& datasetAt(int ordinal) { return *m_datasets.at(static_cast<size_t>(ordinal)); }
    int datasetCount() const { return static_cast<int>(m_datasets.size()); }

    // Named queries (FDQueryImages, FDQueryGetSessionEvents, ...) and the read-side datasets of the
    // all-events view (FDQueryAllProcessCreate, ..., FDQueryAllAllEvents).
    TQuery& query(const QString& name);
    bool allEventsViewTablesActive() const { return m_allEventsViewActive; }
    QStringList queryNames() const;

    // The open connection; throws when there is none.
    sql::Database& connection();

private:
    void addQuery(const QString& name, std::string sql);
    QString m_databasePath;
    std::unique_ptr<sql::Database> m_connection;
    std::vector<std::unique_ptr<TTableDataset>> m_datasets; // in open/close order
    std::map<QString, std::unique_ptr<TQuery>> m_queries;
    bool m_allEventsViewActive = false;
    bool m_inBatch = false;
    bool m_readOnly = false;
};

// The program's single data module, set up at start-up.
extern TMainDataModule* MainDataModule;

} // namespace kelvane

#pragma once

#include "store/AllEventsIndex.h"
#include "store/AllEventsLayout.h"

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace kelvane {

using EventIds = std::shared_ptr<const std::vector<std::int64_t>>;

// Runs the all-events search, and the per-load reading of the grid's index, each on a thread of its
// own with a read-only connection of its own, so that the window never waits for a scan of a
// million rows. Results come back as signals on the thread that owns this object. Starting a search
// cancels the one running; cancel() stops everything (before an import replaces the database).
// Only the newest search reports; a cancelled one says nothing.
class AllEventsSearchTask : public QObject {
    Q_OBJECT
public:
    explicit AllEventsSearchTask(QObject* parent = nullptr);
    ~AllEventsSearchTask() override;

    void search(const QString& databasePath, const QString& term);
    void readIndex(const QString& databasePath);
    void cancel();
    // Cancels and waits until no thread holds the file open any more (before it is replaced).
    void stop();
    bool searching() const { return m_searching; }

signals:
    // The FIDs found in the tables read so far (a growing subset of the final ones).
    void partialResult(kelvane::EventIds ids);
    void searchFinished(kelvane::EventIds ids, qint64 elapsedMs);
    void searchFailed(const QString& message);
    void indexReady(std::shared_ptr<const kelvane::AllEventsIndex> index);
    void detailKeysReady(std::shared_ptr<const kelvane::DetailKeys> keys);
    // The index could not be read: the grid neither groups nor sorts until the next load.
    void indexFailed(const QString& message);

private:
    struct Job {
        std::shared_ptr<CancelFlag> cancel;
        std::shared_ptr<std::atomic_bool> done;
        std::thread thread;
    };
    void reap();

    std::vector<Job> m_jobs; // running or finished, joined when done or on destruction
    std::uint64_t m_searchTicket = 0;
    std::uint64_t m_indexTicket = 0;
    std::shared_ptr<CancelFlag> m_searchCancel;
    std::shared_ptr<CancelFlag> m_indexCancel;
    bool m_searching = false;
};

} // namespace kelvane

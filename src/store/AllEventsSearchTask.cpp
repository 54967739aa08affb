#include "store/AllEventsSearchTask.h"

#include <QElapsedTimer>
#include <QMetaObject>
#include <QThread>

#include <algorithm>

namespace kelvane {

AllEventsSearchTask::AllEventsSearchTask(QObject* parent) : QObject(parent) {
    qRegisterMetaType<kelvane::EventIds>("kelvane::EventIds");
}

AllEventsSearchTask::~AllEventsSearchTask() {
    stop();
}

void AllEventsSearchTask::stop() {
    cancel();
    for (Job& job : m_jobs)
        if (job.thread.joinable())
            job.thread.join();
    m_jobs.clear();
}

void AllEventsSearchTask::reap() {
    for (auto it = m_jobs.begin(); it != m_jobs.end();) {
        if (it->done->load()) {
            it->thread.join();
            it = m_jobs.erase(it);
        } else {
            ++it;
        }
    }
}

void AllEventsSearchTask::cancel() {
    if (m_searchCancel)
        m_searchCancel->store(true);
    if (m_indexCancel)
        m_indexCancel->store(true);
    ++m_searchTicket;
    ++m_indexTicket;
    m_searching = false;
}

void AllEventsSearchTask::search(const QString& databasePath, const QString& term) {
    reap();
    if (m_searchCancel)
        m_searchCancel->store(true);
    m_searchCancel = std::make_shared<CancelFlag>(false);
    const std::uint64_t ticket = ++m_searchTicket;
    m_searching = true;
    auto done = std::make_shared<std::atomic_bool>(false);
    auto cancel = m_searchCancel;
    const std::string path = databasePath.toStdString();
    // Reports run on this object's thread and are dropped once a newer search has started.
    auto report = [this, ticket](auto&& action) {
        QMetaObject::invokeMethod(
            this,
            [this, ticket, action = std::move(action)] {
                if (ticket == m_searchTicket)
                    action();
            },
            Qt::QueuedConnection);
    };
    std::thread thread([=, this] {
        QElapsedTimer clock;
        clock.start();
        try {
            // One reader per core: the scan is bound by evaluating LIKE, and the tables are independent.
            std::vector<std::unique_ptr<sql::Database>> connections;
            std::vector<sql::Database*> readers;
            for (int i = 0; i < std::clamp(QThread::idealThreadCount(), 1, 2); ++i) {
                connections.push_back(openReadOnlyDatabase(path));
                readers.push_back(connections.back().get());
            }
            auto ids =
                searchEventIds(readers, term, cancel.get(), [&](const std::vector<std::int64_t>& soFar) {
                    auto partial = std::make_shared<const std::vector<std::int64_t>>(soFar);
                    report([this, partial] { emit partialResult(partial); });
                });
            auto result = std::make_shared<const std::vector<std::int64_t>>(std::move(ids));
            const qint64 elapsed = clock.elapsed();
            report([this, result, elapsed] {
                m_searching = false;
                emit searchFinished(result, elapsed);
            });
        } catch (const SearchCancelled&) {
        } catch (const std::exception& e) {
            const QString message = QString::fromUtf8(e.what());
            report([this, message] {
                m_searching = false;
                emit searchFailed(message);
            });
        }
        done->store(true);
    });
    m_jobs.push_back({cancel, done, std::move(thread)});
}

void AllEventsSearchTask::readIndex(const QString& databasePath) {
    reap();
    if (m_indexCancel)
        m_indexCancel->store(true);
    m_indexCancel = std::make_shared<CancelFlag>(false);
    const std::uint64_t ticket = ++m_indexTicket;
    auto done = std::make_shared<std::atomic_bool>(false);
    auto cancel = m_indexCancel;
    const std::string path = databasePath.toStdString();
    auto report = [this, ticket](auto&& action) {
        QMetaObject::invokeMethod(
            this,
            [this, ticket, action = std::move(action)] {
                if (ticket == m_indexTicket)
                    action();
            },
            Qt::QueuedConnection);
    };
    std::thread thread([=, this] {
        try {
            auto db = openReadOnlyDatabase(path);
            auto index = AllEventsIndex::read(*db, cancel.get());
            report([this, index] { emit indexReady(index); });
            auto keys = DetailKeys::read(*db, cancel.get());
            report([this, keys] { emit detailKeysReady(keys); });
        } catch (const SearchCancelled&) {
        } catch (const std::exception& e) {
            const QString message = QString::fromUtf8(e.what());
            report([this, message] { emit indexFailed(message); });
        }
        done->store(true);
    });
    m_jobs.push_back({cancel, done, std::move(thread)});
}

} // namespace kelvane

#include "import/TImportPipeline.h"

#include "import/TEventMapper.h"
#include "import/TLogReader.h"
#include "import/xml/TSysmonEventReader.h"
#include "store/Schema.h"
#include "store/TMainDataModule.h"

#include <QThread>

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace kelvane {
namespace {

constexpr std::int16_t kEventEnd = -1;

struct RowHeader {
    std::int16_t ordinal; // dataset, or kEventEnd
    std::uint64_t mask;
    std::uint32_t firstValue;
    std::int64_t key; // the AUTOINCREMENT key the row must get, or 0
};

struct Batch {
    std::vector<RowHeader> rows;
    std::vector<RecordedValue> values;
    std::string arena;
    void clear() {
        rows.clear();
        values.clear();
        arena.clear();
    }
};

// Batches between the two threads, recycled so that steady reading allocates nothing.
class BatchQueue {
public:
    std::unique_ptr<Batch> takeFree() {
        std::lock_guard lock(m_mutex);
        if (m_free.empty())
            return std::make_unique<Batch>();
        auto batch = std::move(m_free.back());
        m_free.pop_back();
        batch->clear();
        return batch;
    }
    // Blocks while the queue is full; drops the batch once the writer has given up.
    void push(std::unique_ptr<Batch> batch) {
        std::unique_lock lock(m_mutex);
        m_notFull.wait(lock, [&] { return m_full.size() < TImportPipeline::kQueueDepth || m_aborted; });
        if (m_aborted)
            return;
        m_full.push_back(std::move(batch));
        m_notEmpty.notify_one();
    }
    void finish(std::exception_ptr error) {
        std::lock_guard lock(m_mutex);
        m_done = true;
        m_error = error;
        m_notEmpty.notify_one();
    }
    // The next batch, or nullptr when the reading thread is done.
    std::unique_ptr<Batch> pop() {
        std::unique_lock lock(m_mutex);
        m_notEmpty.wait(lock, [&] { return !m_full.empty() || m_done; });
        if (m_full.empty())
            return nullptr;
        auto batch = std::move(m_full.front());
        m_full.pop_front();
        m_notFull.notify_one();
        return batch;
    }
    void recycle(std::unique_ptr<Batch> batch) {
        std::lock_guard lock(m_mutex);
        m_free.push_back(std::move(batch));
    }
    void abort() {
        std::lock_guard lock(m_mutex);
        m_aborted = true;
        m_notFull.notify_all();
    }
    std::exception_ptr error() {
        std::lock_guard lock(m_mutex);
        return m_error;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_notFull, m_notEmpty;
    std::deque<std::unique_ptr<Batch>> m_full;
    std::vector<std::unique_ptr<Batch>> m_free;
    bool m_done = false;
    bool m_aborted = false;
    std::exception_ptr m_error;
};

// The reading thread's end: takes the rows that the recording datasets post.
class Recorder : public TRowRecorder {
public:
    explicit Recorder(BatchQueue& queue) : m_queue(queue), m_batch(queue.takeFree()) {}

    void recordRow(const TTableDataset& dataset, std::int64_t key) override {
        const std::uint64_t mask = dataset.assignedMask();
        m_batch->rows.push_back({static_cast<std::int16_t>(dataset.ordinal()), mask,
                                 static_cast<std::uint32_t>(m_batch->values.size()), key});
        const int fields = static_cast<int>(dataset.fields().size());
        for (int i = 0; i < fields; ++i) {
            if (!(mask & (std::uint64_t(1) << i)))
                continue;
            RecordedValue value;
            if (dataset.isTextValue(i)) {
                const std::string_view text = dataset.text(i);
                value.isText = true;
                value.textOffset = static_cast<std::uint32_t>(m_batch->arena.size());
                value.textLength = static_cast<std::uint32_t>(text.size());
                m_batch->arena.append(text);
            } else {
                value.integer = dataset.integer(i);
            }
            m_batch->values.push_back(value);
        }
    }
    void endEvent() {
        m_batch->rows.push_back({kEventEnd, 0, 0, 0});
        // A batch also ends when its texts grow large, so that huge values can't hold much memory.
        if (m_batch->rows.size() >= TImportPipeline::kBatchRows ||
            m_batch->arena.size() > (std::size_t(8) << 20))
            flush();
    }
    void flush() {
        if (m_batch->rows.empty())
            return;
        m_queue.push(std::move(m_batch));
        m_batch = m_queue.takeFree();
    }

private:
    BatchQueue& m_queue;
    std::unique_ptr<Batch> m_batch;
};

// Recording twins of the module's write-side datasets, with the same field lists and places.
class RecordingDatasets : public TDatasetSource {
public:
    RecordingDatasets(TMainDataModule& data, TRowRecorder& recorder, std::int64_t firstKey) {
        for (int i = 0; i < data.datasetCount(); ++i) {
            const TableDef& table = data.datasetAt(i).table();
            m_datasets.push_back(std::make_unique<TTableDataset>(table, schema::writeFields(table)));
            m_datasets.back()->setOrdinal(i);
            m_datasets.back()->openRecording(recorder, firstKey);
        }
    }
    TTableDataset& tableDataset(std::string_view tableName) override {
        for (auto& dataset : m_datasets)
            if (tableName == dataset->table().name)
                return *dataset;
        throw DatasetError("Dataset of table '" + std::string(tableName) + "' not found");
    }

private:
    std::vector<std::unique_ptr<TTableDataset>> m_datasets;
};

// The key that AUTOINCREMENT gives the next master row.
std::int64_t nextMasterKey(sql::Database& db) {
    auto stmt =
        db.prepare("SELECT MAX(COALESCE((SELECT seq FROM sqlite_sequence WHERE name = 'AllEvents'), 0), "
                   "COALESCE((SELECT MAX(GID) FROM AllEvents), 0)) + 1");
    return stmt.step() ? stmt.columnInt64(0) : 1;
}

} // namespace

TImportPipeline::TImportPipeline(TMainDataModule& data, TLogReader& reader, ImportReport& report,
                                 TIPGeolocator* geolocator)
    : m_data(data), m_reader(&reader), m_report(report), m_geolocator(geolocator) {}

TImportPipeline::TImportPipeline(TMainDataModule& data, ImportReport& report)
    : m_data(data), m_report(report), m_geolocator(nullptr) {}

bool TImportPipeline::run(const std::string& path, const std::function<void(std::int64_t)>& afterEvent) {
    bool result = false;
    runProducer(
        [&](TDatasetSource& datasets, const std::function<void()>& endEvent) {
            TEventMapper mapper(datasets, m_report, m_geolocator);
            mapper.setEventObserver(m_observer);
            TSysmonEventReader events(mapper, m_report);
            events.setAfterEvent(endEvent);
            if (m_duplicateTest)
                events.setDuplicateTest(m_duplicateTest);
            // The counts stand also when the parse fails.
            struct CountOnExit {
                TSysmonEventReader& events;
                std::int64_t& count;
                std::int64_t& duplicates;
                ~CountOnExit() {
                    count = events.FEventsCount();
                    duplicates = events.duplicates();
                }
            } countOnExit{events, m_eventsCount, m_duplicates};
            result = m_reader->read(path, events);
        },
        [&] { m_reader->requestStop(); }, afterEvent);
    return result;
}

void TImportPipeline::runProducer(const Producer& produce, const std::function<void()>& stop,
                                  const std::function<void(std::int64_t)>& afterEvent) {
    BatchQueue queue;
    const std::int64_t firstKey = nextMasterKey(m_data.connection());
    std::int64_t eventsSeen = 0;

    // The reading thread is a QThread: a geolocation lookup or a server request runs a Qt event loop on it.
    std::unique_ptr<QThread> reading(QThread::create([&] {
        std::exception_ptr error;
        try {
            Recorder recorder(queue);
            RecordingDatasets datasets(m_data, recorder, firstKey);
            try {
                produce(datasets, [&] { recorder.endEvent(); });
            } catch (...) {
                error = std::current_exception();
            }
            recorder.flush();
        } catch (...) {
            error = std::current_exception();
        }
        queue.finish(error);
    }));
    reading->start();

    try {
        while (auto batch = queue.pop()) {
            for (const RowHeader& row : batch->rows) {
                if (row.ordinal == kEventEnd) {
                    afterEvent(++eventsSeen);
                    continue;
                }
                TTableDataset& dataset = m_data.datasetAt(row.ordinal);
                dataset.insertRecorded(row.mask, batch->values.data() + row.firstValue, batch->arena);
                if (row.key != 0 && dataset.lastKey() != row.key)
                    throw std::runtime_error("AllEvents: the database gave the key " +
                                             std::to_string(dataset.lastKey()) + " where " +
                                             std::to_string(row.key) + " was expected");
            }
            queue.recycle(std::move(batch));
        }
    } catch (...) {
        stop();
        queue.abort();
        // Let the reading thread run out; whatever it still finds is dropped.
        while (auto batch = queue.pop())
            queue.recycle(std::move(batch));
        reading->wait();
        throw;
    }
    reading->wait();
    if (auto error = queue.error())
        std::rethrow_exception(error);
}

} // namespace kelvane

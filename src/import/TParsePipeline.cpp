#include "import/TParsePipeline.h"

#include "import/TSaxReader.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kelvane {
namespace {

enum class OpKind : std::uint8_t { EventId, Data, Computer, EndEventData };

struct Op {
    OpKind kind;
    std::uint32_t nameOffset, nameLength;
    std::uint32_t textOffset, textLength;
};

struct Batch {
    std::vector<Op> ops;
    std::string arena;
    void clear() {
        ops.clear();
        arena.clear();
    }
};

// Batches between the two threads, with recycling so that steady reading allocates nothing.
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
    // Blocks while the queue is full; drops the batch once the reader has been told to stop.
    void push(std::unique_ptr<Batch> batch) {
        std::unique_lock lock(m_mutex);
        m_notFull.wait(lock, [&] { return m_full.size() < TParsePipeline::kQueueDepth || m_aborted; });
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
    // The next batch, or nullptr when the reader is done.
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

// The reading thread's sink: records every finding into the current batch.
class Recorder : public EventItemSink {
public:
    explicit Recorder(BatchQueue& queue) : m_queue(queue), m_batch(queue.takeFree()) {}

    void eventIdText(std::string_view text) override { add(OpKind::EventId, {}, text); }
    void dataItem(std::string_view name, std::string_view text) override { add(OpKind::Data, name, text); }
    void computerText(std::string_view text) override { add(OpKind::Computer, {}, text); }
    void endEventData() override {
        add(OpKind::EndEventData, {}, {});
        if (m_batch->ops.size() >= TParsePipeline::kBatchItems)
            flush();
    }
    void flush() {
        if (m_batch->ops.empty())
            return;
        m_queue.push(std::move(m_batch));
        m_batch = m_queue.takeFree();
    }

private:
    void add(OpKind kind, std::string_view name, std::string_view text) {
        Op op{kind, static_cast<std::uint32_t>(m_batch->arena.size()),
              static_cast<std::uint32_t>(name.size()), 0, static_cast<std::uint32_t>(text.size())};
        m_batch->arena.append(name);
        op.textOffset = static_cast<std::uint32_t>(m_batch->arena.size());
        m_batch->arena.append(text);
        m_batch->ops.push_back(op);
        // A batch also ends when its texts grow large, so one event of huge values can't hold much memory.
        if (m_batch->arena.size() > (std::size_t(4) << 20))
            flush();
    }
    BatchQueue& m_queue;
    std::unique_ptr<Batch> m_batch;
};

void replay(const Batch& batch, EventItemSink& sink) {
    const std::string_view arena = batch.arena;
    for (const Op& op : batch.ops) {
        const std::string_view text = arena.substr(op.textOffset, op.textLength);
        switch (op.kind) {
        case OpKind::EventId:
            sink.eventIdText(text);
            break;
        case OpKind::Data:
            sink.dataItem(arena.substr(op.nameOffset, op.nameLength), text);
            break;
        case OpKind::Computer:
            sink.computerText(text);
            break;
        case OpKind::EndEventData:
            sink.endEventData();
            break;
        }
    }
}

} // namespace

bool TParsePipeline::run(const std::string& path, EventItemSink& sink) {
    BatchQueue queue;
    bool result = false;
    std::thread reading([&] {
        std::exception_ptr error;
        try {
            Recorder recorder(queue);
            TSysmonElementFilter filter(recorder);
            result = m_reader.parseFile(path, filter);
            recorder.flush();
        } catch (...) {
            error = std::current_exception();
        }
        queue.finish(error);
    });
    try {
        while (auto batch = queue.pop()) {
            replay(*batch, sink);
            queue.recycle(std::move(batch));
        }
    } catch (...) {
        m_reader.requestStop();
        queue.abort();
        // Let the reading thread run out; whatever it still finds is dropped.
        while (auto batch = queue.pop())
            queue.recycle(std::move(batch));
        reading.join();
        throw;
    }
    reading.join();
    if (auto error = queue.error())
        std::rethrow_exception(error);
    return result;
}

} // namespace kelvane

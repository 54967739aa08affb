#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kelvane {

class ImportReport;
struct EventState;
class TDatasetSource;
class TIPGeolocator;
class TMainDataModule;
class TLogReader;
struct EventState;

// Runs one import on two threads. A reading thread parses the log and maps each event to its rows on
// recording twins of the datasets, which check every row as the real ones would; the calling thread
// writes those rows to the database in the same order. So parsing and mapping share the two cores with
// SQLite, and the database ends up as a single pass would have left it.
class TImportPipeline {
public:
    TImportPipeline(TMainDataModule& data, TLogReader& reader, ImportReport& report,
                    TIPGeolocator* geolocator);
    // For a source of events other than a log file, driven through runProducer.
    TImportPipeline(TMainDataModule& data, ImportReport& report);

    // Reads the log at path (XML or .evtx) and writes its events. afterEvent(n) runs on this thread after the
    // rows of the n-th event are written. A failure to read the file, a number that is no number in an
    // EventID, and a failure of the database come out of this call, after every row before them was written.
    // Returns the reader's result (false when the file is not well formed).
    bool run(const std::string& path, const std::function<void(std::int64_t events)>& afterEvent);

    // The reading thread's work: map events onto the datasets it is given, calling endEvent after
    // each event's rows. stop() is called from the writing side when the database has failed.
    using Producer = std::function<void(TDatasetSource& datasets, const std::function<void()>& endEvent)>;
    void runProducer(const Producer& produce, const std::function<void()>& stop,
                     const std::function<void(std::int64_t events)>& afterEvent);

    // Runs on the reading thread for every event written by run(), with its items and master row's key.
    void setEventObserver(std::function<void(const EventState&, std::int64_t gid)> observer) {
        m_observer = std::move(observer);
    }

    // EventID texts seen, the count the dialog reports.
    std::int64_t eventsCount() const { return m_eventsCount; }

    // Events this test calls duplicates are read but not stored (asked on the reading thread).
    void setDuplicateTest(std::function<bool(const EventState&, const std::string& recordId)> test) {
        m_duplicateTest = std::move(test);
    }
    std::int64_t duplicates() const { return m_duplicates; }

    // Rows per batch handed from the reading thread to the writing one, and batches in flight.
    static constexpr std::size_t kBatchRows = 8192;
    static constexpr std::size_t kQueueDepth = 8;

private:
    TMainDataModule& m_data;
    TLogReader* m_reader = nullptr;
    ImportReport& m_report;
    TIPGeolocator* m_geolocator;
    std::int64_t m_eventsCount = 0;
    std::function<bool(const EventState&, const std::string&)> m_duplicateTest;
    std::int64_t m_duplicates = 0;
    std::function<void(const EventState&, std::int64_t)> m_observer;
};

} // namespace kelvane

#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kelvane {

class ImportReport;
class TIPGeolocator;
class TMainDataModule;
class TLogReader;

// Runs one import on two threads. A reading thread parses the log and maps each event to its rows on
// recording twins of the datasets, which check every row as the real ones would; the calling thread
// writes those rows to the database in the same order. So parsing and mapping share the two cores with
// SQLite, and the database ends up as a single pass would have left it.
class TImportPipeline {
public:
    TImportPipeline(TMainDataModule& data, TLogReader& reader, ImportReport& report,
                    TIPGeolocator* geolocator);

    // Reads the log at path (XML or .evtx) and writes its events. afterEvent(n) runs on this thread after the
    // rows of the n-th event are written. A failure to read the file, a number that is no number in an
    // EventID, and a failure of the database come out of this call, after every row before them was written.
    // Returns the reader's result (false when the file is not well formed).
    bool run(const std::string& path, const std::function<void(std::int64_t events)>& afterEvent);

    // EventID texts seen, the count the dialog reports.
    std::int64_t eventsCount() const { return m_eventsCount; }

    // Rows per batch handed from the reading thread to the writing one, and batches in flight.
    static constexpr std::size_t kBatchRows = 8192;
    static constexpr std::size_t kQueueDepth = 8;

private:
    TMainDataModule& m_data;
    TLogReader& m_reader;
    ImportReport& m_report;
    TIPGeolocator* m_geolocator;
    std::int64_t m_eventsCount = 0;
};

} // namespace kelvane

#pragma once

#include "import/evtx/TEvtxReader.h"
#include "import/xml/TSaxReader.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace kelvane {

class EventItemSink;

// The reader of a Sysmon log, whatever its form: an XML export or an .evtx file, told apart by content,
// not by name. Both give the sink the same items for the same events.
class TLogReader {
public:
    enum class Format { Xml, Evtx };

    // Throws std::runtime_error when the file cannot be opened or read.
    static Format detect(const std::string& path);

    // Reads the log at path into the sink. Returns false when an XML log is not well formed (what came
    // before the fault has been read); exceptions of the sink pass through.
    bool read(const std::string& path, EventItemSink& sink);

    // Progress of the running read, from any thread.
    std::int64_t bytesRead() const;
    std::int64_t totalBytes() const;
    // What the last read of an .evtx file left out or could not vouch for (nothing for XML).
    ReadLosses losses() const { return m_format.load() == Format::Evtx ? m_evtx.losses() : ReadLosses{}; }
    Format format() const { return m_format.load(); }
    // Thread-safe; a request made before a read starts stops it at once. Cleared when a read returns.
    void requestStop();

    TSaxReader& xmlReader() { return m_xml; }

private:
    TSaxReader m_xml;
    TEvtxReader m_evtx;
    std::atomic<Format> m_format{Format::Xml};
    std::atomic<bool> m_stopRequested{false};
};

} // namespace kelvane

#include "import/TLogReader.h"

#include "import/ByteSource.h"
#include "import/evtx/EvtxFile.h"
#include "import/xml/TSysmonEventReader.h"

#include <cstring>
#include <vector>

namespace kelvane {

TLogReader::Format TLogReader::detect(const std::string& path) {
    ByteSource source = ByteSource::file(path);
    std::vector<std::uint8_t> head(evtx::kFileHeaderBlock + 8);
    std::size_t size = 0;
    while (size < head.size()) {
        const std::size_t n = source.read(reinterpret_cast<char*>(head.data()) + size, head.size() - size);
        if (n == 0)
            break;
        size += n;
    }
    return evtx::EvtxFile::looksLikeEventLog(head.data(), size) ? Format::Evtx : Format::Xml;
}

bool TLogReader::read(const std::string& path, EventItemSink& sink) {
    struct ClearStop {
        std::atomic<bool>& flag;
        ~ClearStop() { flag.store(false); }
    } clearStop{m_stopRequested};
    const Format format = detect(path);
    // The format is known before the stop flag is looked at, so that a request finds the right reader.
    m_format.store(format);
    if (m_stopRequested.load())
        return true;
    if (format == Format::Evtx) {
        m_evtx.read(path, sink);
        return true;
    }
    TSysmonElementFilter filter(sink);
    return m_xml.parseFile(path, filter);
}

std::int64_t TLogReader::bytesRead() const {
    return format() == Format::Evtx ? m_evtx.bytesRead() : m_xml.bytesRead();
}

std::int64_t TLogReader::totalBytes() const {
    return format() == Format::Evtx ? m_evtx.totalBytes() : m_xml.totalBytes();
}

void TLogReader::requestStop() {
    m_stopRequested.store(true);
    if (format() == Format::Evtx)
        m_evtx.requestStop();
    else
        m_xml.requestStop();
}

} // namespace kelvane

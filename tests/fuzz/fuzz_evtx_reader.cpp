// Feeds arbitrary bytes to the .evtx reader: as one chunk straight to the chunk decoder (checksums off, so
// that the fuzzer gets past them), or as a whole file through the reader with its threads.
#include "import/evtx/ChunkEvents.h"
#include "import/evtx/EvtxChunk.h"
#include "import/evtx/TEvtxReader.h"
#include "import/xml/TSysmonEventReader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

class CountingSink : public kelvane::EventItemSink {
public:
    void eventIdText(std::string_view text) override { m_bytes += text.size(); }
    void dataItem(std::string_view name, std::string_view text) override {
        m_bytes += name.size() + text.size();
    }
    void computerText(std::string_view text) override { m_bytes += text.size(); }
    void endEventData() override { ++m_bytes; }

private:
    std::size_t m_bytes = 0;
};

void asChunk(const std::uint8_t* data, std::size_t size) {
    static kelvane::evtx::ChunkDecoder decoder;
    kelvane::evtx::ChunkEvents events;
    decoder.decode(data, static_cast<std::uint32_t>(std::min<std::size_t>(size, kelvane::evtx::kChunkSize)),
                   false, events);
    CountingSink sink;
    events.replay(sink);
}

void asFile(const std::uint8_t* data, std::size_t size) {
    const int fd = memfd_create("evtx", MFD_CLOEXEC);
    if (fd < 0)
        return;
    if (write(fd, data, size) == static_cast<ssize_t>(size)) {
        CountingSink sink;
        kelvane::TEvtxReader reader(2);
        reader.read("/proc/self/fd/" + std::to_string(fd), sink);
    }
    close(fd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A file begins with its signature; anything else is taken for a chunk.
    if (size >= 8 &&
        std::string_view(reinterpret_cast<const char*>(data), 8) == std::string_view("ElfFile\0", 8))
        asFile(data, size);
    else
        asChunk(data, size);
    return 0;
}

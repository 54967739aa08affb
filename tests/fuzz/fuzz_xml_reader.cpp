// Feeds arbitrary bytes to the XML reader and its element handlers, in pieces of a size the input chooses,
// with a sink that converts and gathers items as the importer does.
#include "import/EventRecord.h"
#include "import/ValueConversions.h"
#include "import/xml/TSaxReader.h"
#include "import/xml/TSysmonEventReader.h"

#include <cstddef>
#include <cstdint>

namespace {

class GatheringSink : public kelvane::EventItemSink {
public:
    void eventIdText(std::string_view text) override {
        try {
            kelvane::StrToInt(text);
        } catch (const kelvane::ConversionError&) {
        }
    }
    void dataItem(std::string_view name, std::string_view text) override {
        m_record.add(name, text);
        kelvane::parseUtcTime(text);
        kelvane::parseSigned64(text);
        kelvane::splitHashes(text);
    }
    void computerText(std::string_view) override {}
    void endEventData() override { m_record.clear(); }

private:
    kelvane::EventRecord m_record;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    // The first byte picks the reading piece size, so that every boundary case is reachable.
    const std::size_t chunk =
        data[0] < 128 ? std::size_t(data[0]) + 1 : kelvane::TSaxReader::DefaultChunkSize;
    GatheringSink sink;
    kelvane::TSysmonElementFilter filter(sink);
    kelvane::TSaxReader reader(chunk);
    reader.parseBuffer(std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1), filter);
    return 0;
}

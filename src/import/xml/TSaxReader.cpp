#include "import/xml/TSaxReader.h"

#include "import/ByteSource.h"
#include "import/xml/SaxTokenizer.h"
#include "import/xml/TextDecoder.h"
#include "import/xml/Utf8Window.h"

namespace kelvane {

namespace {

// Enough of the start of a file to hold a byte order mark and the XML declaration.
constexpr std::size_t HeadSize = 1024;

std::string readHead(ByteSource& source) {
    std::string head(HeadSize, '\0');
    std::size_t size = 0;
    while (size < HeadSize) {
        const std::size_t n = source.read(head.data() + size, HeadSize - size);
        if (n == 0)
            break;
        size += n;
    }
    head.resize(size);
    return head;
}

// Clears a stop request when a parse returns, also by an exception.
class StopRequestReset {
public:
    explicit StopRequestReset(std::atomic<bool>& flag) : m_flag(flag) {}
    ~StopRequestReset() { m_flag.store(false, std::memory_order_relaxed); }
    StopRequestReset(const StopRequestReset&) = delete;
    StopRequestReset& operator=(const StopRequestReset&) = delete;

private:
    std::atomic<bool>& m_flag;
};

} // namespace

TSaxReader::TSaxReader(std::size_t chunkSize) : m_chunkSize(chunkSize > 0 ? chunkSize : 1) {}

TSaxReader::~TSaxReader() = default;

bool TSaxReader::parseFile(const std::string& path, SaxHandler& handler) {
    ByteSource source = ByteSource::file(path);
    return parse(source, handler);
}

bool TSaxReader::parseBuffer(std::string_view bytes, SaxHandler& handler) {
    ByteSource source = ByteSource::memory(bytes);
    return parse(source, handler);
}

bool TSaxReader::parse(ByteSource& source, SaxHandler& handler) {
    const StopRequestReset stopReset(m_stopRequested);
    m_errorText.clear();
    m_bytesRead.store(0, std::memory_order_relaxed);
    m_totalBytes.store(source.size(), std::memory_order_relaxed);
    source.setProgressCounter(&m_bytesRead);

    const std::string head = readHead(source);
    const EncodingGuess guess = TextDecoder::detect(head);
    source.unread(std::string_view(head).substr(guess.bomLength));

    Utf8Window window(source, guess.encoding, m_chunkSize, static_cast<std::int64_t>(guess.bomLength));
    SaxTokenizer tokenizer(window, handler, m_stopRequested);
    switch (tokenizer.run()) {
    case SaxTokenizer::Outcome::Finished:
    case SaxTokenizer::Outcome::Stopped:
        return true;
    case SaxTokenizer::Outcome::Failed:
        m_errorText = tokenizer.errorText();
        return false;
    }
    return false;
}

} // namespace kelvane

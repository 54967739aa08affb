#pragma once

#include "import/xml/TSaxReader.h"

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane {

class Utf8Window;

// The markup scanner behind TSaxReader: walks the UTF-8 text of a window and calls the handler. It finds the
// next '<' with memchr and reads tags byte by byte against a class table; names and values are handed out as
// views into the window, and only text with references, text across chunks and values with references are
// copied, into buffers kept for the whole run, so nothing is allocated per element once they are warm.
class SaxTokenizer {
public:
    enum class Outcome { Finished, Stopped, Failed };

    SaxTokenizer(Utf8Window& window, SaxHandler& handler, const std::atomic<bool>& stopRequested);

    // Reads the window to its end. Handler exceptions pass through.
    Outcome run();
    const std::string& errorText() const { return m_errorText; }

private:
    enum class Step { Done, NeedMore, Failed, Stopped };
    // What the text at the window's read position belongs to.
    enum class Mode { Content, Comment, CData, Instruction };
    enum class TextState { None, Viewed, Copied };
    struct Attribute {
        std::string_view name;
        std::string_view value; // when not stored
        std::size_t storedAt = 0;
        std::size_t storedSize = 0;
        bool stored = false;
    };

    Step scan();
    Step startTag(const char* p, const char* end, const char*& next);
    Step endTag(const char* p, const char* end, const char*& next);
    Step exclamation(const char* p, const char* end, const char*& next);
    void addAttribute(std::string_view name, const char* value, const char* valueEnd);
    void addText(const char* p, const char* end, bool expand);
    void copyText();
    void flushText();
    Outcome finish();
    Step fail(const char* at, std::string_view what);

    Utf8Window& m_window;
    SaxHandler& m_handler;
    const std::atomic<bool>& m_stopRequested;
    Mode m_mode = Mode::Content;
    std::size_t m_pos = 0;

    // The text gathered since the last tag: a view into the window while it is one plain piece, else a copy.
    TextState m_textState = TextState::None;
    std::string_view m_textView;
    std::string m_text;

    std::vector<Attribute> m_attributes;
    std::vector<SaxAttribute> m_saxAttributes;
    std::string m_attributeValues;
    std::string m_errorText;
};

} // namespace kelvane

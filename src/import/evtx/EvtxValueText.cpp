#include "import/evtx/EvtxValueText.h"

#include "import/Utf8.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

namespace kelvane::evtx {
namespace {

// Values are read by copying their little-endian bytes into integers.
static_assert(std::endian::native == std::endian::little);

std::uint64_t readLe(const std::uint8_t* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = n; i-- > 0;)
        v = (v << 8) | p[i];
    return v;
}

template <typename T> void appendNumber(std::string& out, T value, int base = 10) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, base);
    out.append(buffer, result.ptr);
}

void appendPadded(std::string& out, unsigned value, int width) {
    char buffer[16];
    int n = 0;
    do {
        buffer[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0 && n < 15);
    for (int i = n; i < width; ++i)
        out += '0';
    while (n > 0)
        out += buffer[--n];
}

void appendHexByte(std::string& out, std::uint8_t b) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    out += kDigits[b >> 4];
    out += kDigits[b & 0xF];
}

// Year, month and day of a count of days since 1970-01-01 (proleptic Gregorian).
void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
}

// ISO 8601 in UTC with nine fractional digits, as Windows prints time stamps.
void appendTimestamp(std::string& out, std::int64_t y, unsigned mo, unsigned d, unsigned h, unsigned mi,
                     unsigned s, std::uint32_t nanoseconds) {
    appendPadded(out, static_cast<unsigned>(y), 4);
    out += '-';
    appendPadded(out, mo, 2);
    out += '-';
    appendPadded(out, d, 2);
    out += 'T';
    appendPadded(out, h, 2);
    out += ':';
    appendPadded(out, mi, 2);
    out += ':';
    appendPadded(out, s, 2);
    out += '.';
    appendPadded(out, nanoseconds, 9);
    out += 'Z';
}

void appendFileTime(std::string& out, std::uint64_t ticks) {
    const std::uint64_t seconds = ticks / 10000000;
    const auto fraction = static_cast<std::uint32_t>(ticks % 10000000) * 100;
    const std::int64_t days = static_cast<std::int64_t>(seconds / 86400) - 134774; // 1601 to 1970
    const auto secondOfDay = static_cast<unsigned>(seconds % 86400);
    std::int64_t y;
    unsigned m, d;
    civilFromDays(days, y, m, d);
    appendTimestamp(out, y, m, d, secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60, fraction);
}

void appendSid(std::string& out, const std::uint8_t* p, std::size_t size, bool& ok) {
    ok = size >= 8 && size >= 8 + std::size_t(p[1]) * 4;
    if (!ok)
        return;
    out += "S-";
    appendNumber(out, unsigned(p[0]));
    out += '-';
    std::uint64_t authority = 0;
    for (int i = 2; i < 8; ++i)
        authority = (authority << 8) | p[i];
    if (authority >> 32) {
        out += "0x";
        for (int i = 2; i < 8; ++i)
            appendHexByte(out, p[i]);
    } else {
        appendNumber(out, authority);
    }
    for (unsigned i = 0; i < p[1]; ++i) {
        out += '-';
        appendNumber(out, static_cast<std::uint32_t>(readLe(p + 8 + 4 * i, 4)));
    }
}

} // namespace

void appendUtf16(std::string& out, const std::uint8_t* p, std::size_t units) {
    // Written straight into the string: no code unit takes more than three bytes of UTF-8.
    const std::size_t old = out.size();
    out.resize(old + units * 3);
    char* w = out.data() + old;
    for (std::size_t i = 0; i < units; ++i) {
        // Four ASCII characters at a time, the common case: every unit below 0x80 and none zero.
        while (i + 4 <= units) {
            std::uint64_t v;
            std::memcpy(&v, p + 2 * i, 8);
            if ((v & 0xFF80FF80FF80FF80ull) != 0 ||
                ((v + 0x7FFF7FFF7FFF7FFFull) & 0x8000800080008000ull) != 0x8000800080008000ull)
                break;
            w[0] = static_cast<char>(v);
            w[1] = static_cast<char>(v >> 16);
            w[2] = static_cast<char>(v >> 32);
            w[3] = static_cast<char>(v >> 48);
            w += 4;
            i += 4;
        }
        if (i >= units)
            break;
        char32_t c = p[2 * i] | (char32_t(p[2 * i + 1]) << 8);
        if (c < 0x80) {
            if (c == 0)
                break;
            *w++ = static_cast<char>(c);
            continue;
        }
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
            const char32_t low = p[2 * i + 2] | (char32_t(p[2 * i + 3]) << 8);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        if (c >= 0xD800 && c <= 0xDFFF)
            c = 0xFFFD;
        w = encodeUtf8(c, w);
    }
    out.resize(static_cast<std::size_t>(w - out.data()));
}

std::size_t fixedValueSize(std::uint8_t type) {
    switch (type) {
    case Int8:
    case UInt8:
        return 1;
    case Int16:
    case UInt16:
        return 2;
    case Int32:
    case UInt32:
    case Real32:
    case HexInt32:
        return 4;
    case Int64:
    case UInt64:
    case Real64:
    case FileTime:
    case HexInt64:
        return 8;
    case Guid:
    case SystemTime:
        return 16;
    default:
        return 0;
    }
}

bool appendValueText(std::string& out, std::uint8_t type, const std::uint8_t* p, std::size_t size) {
    const std::size_t fixed = fixedValueSize(type);
    if (fixed != 0 && size != fixed)
        return false;
    switch (type) {
    case Null:
        return true;
    case String:
        appendUtf16(out, p, size / 2);
        return true;
    case AnsiString:
        // Eight-bit text in the writer's code page; Latin-1 is the best guess without it.
        for (std::size_t i = 0; i < size && p[i] != 0; ++i)
            appendUtf8(out, p[i]);
        return true;
    case Int8:
        appendNumber(out, int(static_cast<std::int8_t>(p[0])));
        return true;
    case UInt8:
        appendNumber(out, unsigned(p[0]));
        return true;
    case Int16:
        appendNumber(out, int(static_cast<std::int16_t>(readLe(p, 2))));
        return true;
    case UInt16:
        appendNumber(out, unsigned(readLe(p, 2)));
        return true;
    case Int32:
        appendNumber(out, static_cast<std::int32_t>(readLe(p, 4)));
        return true;
    case UInt32:
        appendNumber(out, static_cast<std::uint32_t>(readLe(p, 4)));
        return true;
    case Int64:
        appendNumber(out, static_cast<std::int64_t>(readLe(p, 8)));
        return true;
    case UInt64:
        appendNumber(out, readLe(p, 8));
        return true;
    case Real32: {
        float f;
        std::memcpy(&f, p, 4);
        char buffer[64];
        out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, f).ptr);
        return true;
    }
    case Real64: {
        double f;
        std::memcpy(&f, p, 8);
        char buffer[64];
        out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, f).ptr);
        return true;
    }
    case Bool: {
        if (size == 0 || size > 8)
            return false;
        bool value = false;
        for (std::size_t i = 0; i < size; ++i)
            value = value || p[i] != 0;
        out += value ? "true" : "false";
        return true;
    }
    case Binary:
        for (std::size_t i = 0; i < size; ++i)
            appendHexByte(out, p[i]);
        return true;
    case Guid: {
        out += '{';
        for (int i = 3; i >= 0; --i)
            appendHexByte(out, p[i]);
        out += '-';
        appendHexByte(out, p[5]);
        appendHexByte(out, p[4]);
        out += '-';
        appendHexByte(out, p[7]);
        appendHexByte(out, p[6]);
        out += '-';
        appendHexByte(out, p[8]);
        appendHexByte(out, p[9]);
        out += '-';
        for (int i = 10; i < 16; ++i)
            appendHexByte(out, p[i]);
        out += '}';
        return true;
    }
    case SizeT:
    case HexInt32:
    case HexInt64:
        if (type == SizeT && size != 4 && size != 8)
            return false;
        out += "0x";
        appendNumber(out, readLe(p, size), 16);
        return true;
    case FileTime:
        appendFileTime(out, readLe(p, 8));
        return true;
    case SystemTime: {
        const auto field = [p](int i) { return static_cast<unsigned>(readLe(p + 2 * i, 2)); };
        appendTimestamp(out, field(0), field(1), field(3), field(4), field(5), field(6),
                        std::min(field(7), 999u) * 1000000u);
        return true;
    }
    case Sid: {
        bool ok = false;
        appendSid(out, p, size, ok);
        return ok;
    }
    default:
        return false;
    }
}

} // namespace kelvane::evtx

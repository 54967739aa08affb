#pragma once

// Low-level pieces of the log generator: a seeded random source and appenders that write straight into a
// std::string, so that a million events cost no per-event allocations.

#include <array>
#include <charconv>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kelvane::genlog {

// splitmix64: tiny, fast, and the same sequence on every platform (std distributions are not).
class Rng {
public:
    explicit Rng(std::uint64_t seed = 0) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [0, n), n > 0.
    std::uint32_t below(std::uint32_t n) {
        return static_cast<std::uint32_t>(((next() >> 32) * static_cast<std::uint64_t>(n)) >> 32);
    }
    // Uniform in [lo, hi].
    std::uint32_t range(std::uint32_t lo, std::uint32_t hi) { return lo + below(hi - lo + 1); }
    bool percent(std::uint32_t p) { return below(100) < p; }
    bool perMille(std::uint32_t p) { return below(1000) < p; }

private:
    std::uint64_t m_state;
};

inline constexpr char kHexDigits[] = "0123456789ABCDEF";

inline std::uint64_t fnv1a(std::string_view text) {
    std::uint64_t h = 0xCBF29CE484222325ull;
    for (unsigned char c : text)
        h = (h ^ c) * 0x100000001B3ull;
    return h;
}

inline void appendUInt(std::string& out, std::uint64_t value) {
    char digits[24];
    auto result = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, result.ptr);
}

inline void appendHex(std::string& out, std::uint64_t value, int width, bool upper = true) {
    static constexpr char lower[] = "0123456789abcdef";
    const char* table = upper ? kHexDigits : lower;
    for (int shift = (width - 1) * 4; shift >= 0; shift -= 4)
        out.push_back(table[(value >> shift) & 0xF]);
}

// Digits of a file's hashes, a fixed function of the key: SHA1 (40), MD5 (32), SHA256 (64), IMPHASH (32).
using HashDigits = std::array<char, 168>;

inline HashDigits hashDigits(std::uint64_t key) {
    HashDigits digits{};
    Rng rng(key);
    for (std::size_t i = 0; i < digits.size(); i += 16) {
        std::uint64_t word = rng.next();
        for (std::size_t j = i; j < i + 16 && j < digits.size(); ++j, word >>= 4)
            digits[j] = kHexDigits[word & 0xF];
    }
    return digits;
}

// The hash texts a Sysmon configuration can produce, by the algorithms it names.
enum class HashForm { All, Md5Sha256Imphash, Sha256, Sha1, Md5Imphash };

struct HashPart {
    std::string_view name;
    std::size_t offset, length; // within HashDigits
};
inline constexpr HashPart kSha1{"SHA1=", 0, 40}, kMd5{"MD5=", 40, 32}, kSha256{"SHA256=", 72, 64},
    kImphash{"IMPHASH=", 136, 32};
inline constexpr HashPart kAllParts[] = {kSha1, kMd5, kSha256, kImphash};
inline constexpr HashPart kMd5Sha256ImphashParts[] = {kMd5, kSha256, kImphash};
inline constexpr HashPart kMd5ImphashParts[] = {kMd5, kImphash};

inline void appendHashText(std::string& out, HashForm form, const HashDigits& digits) {
    std::span<const HashPart> parts;
    switch (form) {
    case HashForm::All:
        parts = kAllParts;
        break;
    case HashForm::Md5Sha256Imphash:
        parts = kMd5Sha256ImphashParts;
        break;
    case HashForm::Sha256:
        parts = {&kSha256, 1};
        break;
    case HashForm::Sha1:
        parts = {&kSha1, 1};
        break;
    case HashForm::Md5Imphash:
        parts = kMd5ImphashParts;
        break;
    }
    for (const HashPart& part : parts) {
        if (&part != parts.data())
            out.push_back(',');
        out.append(part.name).append(digits.data() + part.offset, part.length);
    }
}

// Sysmon's GUID layout: machine part, a time in seconds split in two groups, a counter, a tail.
inline void appendSysmonGuid(std::string& out, std::string_view machine, std::uint32_t seconds,
                             std::uint32_t counter, std::string_view tail) {
    out.push_back('{');
    out.append(machine).push_back('-');
    appendHex(out, seconds & 0xFFFF, 4);
    out.push_back('-');
    appendHex(out, seconds >> 16, 4);
    out.push_back('-');
    appendHex(out, counter & 0xFFFF, 4);
    out.push_back('-');
    out.append(tail).push_back('}');
}

// Text content of an element: only &, < and > need escaping (quotes stay raw, as Windows writes them).
inline void appendEscaped(std::string& out, std::string_view raw) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const char c = raw[i];
        if (c != '&' && c != '<' && c != '>')
            continue;
        out.append(raw.substr(start, i - start));
        out.append(c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;");
        start = i + 1;
    }
    out.append(raw.substr(start));
}

// Civil date and time of a count of milliseconds since 1970 (proleptic Gregorian, UTC).
struct CivilTime {
    int year, month, day, hour, minute, second, millisecond;
};

inline CivilTime civilTime(std::int64_t msSinceEpoch) {
    std::int64_t days = msSinceEpoch / 86'400'000;
    std::int64_t msOfDay = msSinceEpoch % 86'400'000;
    if (msOfDay < 0)
        msOfDay += 86'400'000, --days;
    // Days to civil date, after Howard Hinnant's public-domain algorithm.
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const auto doe = static_cast<unsigned>(days - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    const auto y = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
    const auto ms = static_cast<int>(msOfDay);
    return {
        y,        static_cast<int>(m), static_cast<int>(d), ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
        ms % 1000};
}

inline void appendPadded(std::string& out, int value, int width) {
    char buf[8];
    for (int i = width - 1; i >= 0; --i, value /= 10)
        buf[i] = static_cast<char>('0' + value % 10);
    out.append(buf, static_cast<std::size_t>(width));
}

// "yyyy-mm-dd hh:mm:ss.zzz" (separator ' '), or the date and time part of an ISO stamp (separator 'T').
inline void appendTime(std::string& out, std::int64_t msSinceEpoch, char separator = ' ') {
    const CivilTime t = civilTime(msSinceEpoch);
    const int fields[] = {t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond};
    const int widths[] = {4, 2, 2, 2, 2, 2, 3};
    const char separators[] = {'-', '-', separator, ':', ':', '.'};
    for (int i = 0; i < 7; ++i) {
        if (i > 0)
            out.push_back(separators[i - 1]);
        appendPadded(out, fields[i], widths[i]);
    }
}

// Appends UTF-16LE code units of valid UTF-8 text. No UTF-8 sequence is shorter than its UTF-16 form, so
// twice the input size is room enough.
inline void appendUtf16le(std::string& out, std::string_view utf8) {
    const std::size_t start = out.size();
    out.resize(start + 2 * utf8.size());
    char* w = out.data() + start;
    auto unit = [&w](std::uint32_t u) {
        *w++ = static_cast<char>(u & 0xFF);
        *w++ = static_cast<char>(u >> 8);
    };
    for (std::size_t i = 0; i < utf8.size();) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        if (c < 0x80) {
            *w++ = static_cast<char>(c);
            *w++ = '\0';
            ++i;
            continue;
        }
        const int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : 1;
        std::uint32_t cp = c & (0x3F >> extra);
        for (int k = 1; k <= extra && i + k < utf8.size(); ++k)
            cp = (cp << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        i += static_cast<std::size_t>(extra) + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            unit(0xD800 + (cp >> 10));
            unit(0xDC00 + (cp & 0x3FF));
        } else {
            unit(cp);
        }
    }
    out.resize(static_cast<std::size_t>(w - out.data()));
}

} // namespace kelvane::genlog

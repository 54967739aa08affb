#pragma once

#include "store/DateTime.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelvane {

// The failure of a number conversion: "'%s' is not a valid integer value".
class ConversionError : public std::runtime_error {
public:
    explicit ConversionError(std::string_view text);
};

// Replaces each CR LF pair by backslash-n and each double quote by backslash-quote; a lone CR or LF stays.
std::string ClearText(std::string_view text);
// The same, in place on a buffer; returns false when nothing needed replacing (the common case).
bool clearTextInPlace(std::string& text);

// Decimal, or hexadecimal behind "0x", "0X", "x", "X" or "$"; surrounding blanks are allowed.
std::optional<std::uint64_t> parseUnsigned64(std::string_view text);
std::optional<std::int64_t> parseSigned64(std::string_view text);
// The integer conversion of the reader (EventID) and of QueryStatus: a signed 32-bit number; throws
// ConversionError.
std::int32_t StrToInt(std::string_view text);
// An unsigned 64-bit parse kept in 32 bits (0xFFFFFFFF gives -1); throws ConversionError.
std::int32_t toInteger32(std::string_view text);
// A signed 64-bit parse; throws ConversionError.
std::int64_t toInteger64(std::string_view text);

// The part behind the last backslash or colon, or the whole text.
std::string_view baseName(std::string_view path);

// Reads "yyyy-mm-dd hh:nn:ss" and takes the third part (cut at full stops and blanks) as milliseconds.
// Gives nothing when the text does not have that form.
std::optional<DateTime> parseUtcTime(std::string_view text);

// Trims characters up to and including the blank at both ends.
std::string_view trimmed(std::string_view text);

struct HashParts {
    std::string md5, sha1, sha256;
    bool hasMd5 = false, hasSha1 = false, hasSha256 = false;
    int partCount = 0; // parts the text was cut into at commas
};
// Cuts a hash text "SHA1=..,MD5=..,SHA256=..,IMPHASH=.." at commas and picks the three known kinds.
HashParts splitHashes(std::string_view text);

} // namespace kelvane

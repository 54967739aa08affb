#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvane::evtx {

// Value types of the binary XML's substitution values (the 0x80 bit marks an array of the base type).
enum ValueType : std::uint8_t {
    Null = 0x00,
    String = 0x01,
    AnsiString = 0x02,
    Int8 = 0x03,
    UInt8 = 0x04,
    Int16 = 0x05,
    UInt16 = 0x06,
    Int32 = 0x07,
    UInt32 = 0x08,
    Int64 = 0x09,
    UInt64 = 0x0A,
    Real32 = 0x0B,
    Real64 = 0x0C,
    Bool = 0x0D,
    Binary = 0x0E,
    Guid = 0x0F,
    SizeT = 0x10,
    FileTime = 0x11,
    SystemTime = 0x12,
    Sid = 0x13,
    HexInt32 = 0x14,
    HexInt64 = 0x15,
    BinXml = 0x21,
    ArrayFlag = 0x80,
};

// Appends UTF-16LE text as UTF-8 (an unpaired surrogate becomes U+FFFD), up to the first NUL.
void appendUtf16(std::string& out, const std::uint8_t* p, std::size_t units);

// Appends the text Windows shows for one value of a scalar type in its XML rendering. False when the
// bytes cannot be a value of that type (a wrong size), or the type is unknown; out may then hold a part.
bool appendValueText(std::string& out, std::uint8_t type, const std::uint8_t* p, std::size_t size);

// The size of one item of a fixed-size type, or 0 for the types of variable size.
std::size_t fixedValueSize(std::uint8_t type);

} // namespace kelvane::evtx

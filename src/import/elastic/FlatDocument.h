#pragma once

#include <simdjson.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvane {

// A search hit's document as flat columns: dotted paths to values as text, in document order.
// Reused from hit to hit, so that a long read allocates nothing per document once warm.
class FlatDocument {
public:
    // Walks the document depth first. Arrays stay one column: scalar elements joined by ", ",
    // arrays holding objects as compact JSON. Integral numbers print without point or exponent,
    // booleans as true/false, null as an empty text.
    void read(simdjson::dom::element source);

    // The value of a column, or nullptr. A path spelt both nested and with literal dots is one
    // column; its first value counts.
    const std::string* find(std::string_view path) const;
    // The element texts of a column that came as an array of scalars, or nullptr.
    const std::vector<std::string>* elements(std::string_view path) const;
    size_t size() const { return m_size; }
    const std::pair<std::string, std::string>& at(size_t i) const { return m_fields[i]; }

    // The text of a scalar as a column holds it.
    static void appendScalar(simdjson::dom::element value, std::string& out);

private:
    void walk(simdjson::dom::element value, std::string& path);
    void add(const std::string& path, std::string_view text);
    std::string& addEmpty(const std::string& path);

    std::vector<std::pair<std::string, std::string>> m_fields;
    size_t m_size = 0;
    // Arrays keep their elements apart as well: an element may hold the separator of the joined text.
    std::vector<std::pair<std::string, std::vector<std::string>>> m_arrays;
    size_t m_arrayCount = 0;
    std::string m_path;
};

} // namespace kelvane

#include "import/elastic/FlatDocument.h"

#include <charconv>
#include <cmath>

namespace kelvane {

using simdjson::dom::element_type;

void FlatDocument::read(simdjson::dom::element source) {
    m_size = 0;
    m_arrayCount = 0;
    m_path.clear();
    walk(source, m_path);
}

const std::string* FlatDocument::find(std::string_view path) const {
    for (size_t i = 0; i < m_size; ++i)
        if (m_fields[i].first == path)
            return &m_fields[i].second;
    return nullptr;
}

const std::vector<std::string>* FlatDocument::elements(std::string_view path) const {
    for (size_t i = 0; i < m_arrayCount; ++i)
        if (m_arrays[i].first == path)
            return &m_arrays[i].second;
    return nullptr;
}

std::string& FlatDocument::addEmpty(const std::string& path) {
    if (m_size == m_fields.size())
        m_fields.emplace_back();
    auto& field = m_fields[m_size++];
    field.first.assign(path);
    field.second.clear();
    return field.second;
}

void FlatDocument::add(const std::string& path, std::string_view text) {
    addEmpty(path).assign(text);
}

void FlatDocument::appendScalar(simdjson::dom::element value, std::string& out) {
    char buffer[32];
    switch (value.type()) {
    case element_type::STRING:
        out += std::string_view(value.get_string().value_unsafe());
        break;
    case element_type::INT64: {
        const auto r = std::to_chars(buffer, buffer + sizeof buffer, value.get_int64().value_unsafe());
        out.append(buffer, r.ptr);
        break;
    }
    case element_type::UINT64: {
        const auto r = std::to_chars(buffer, buffer + sizeof buffer, value.get_uint64().value_unsafe());
        out.append(buffer, r.ptr);
        break;
    }
    case element_type::DOUBLE: {
        const double d = value.get_double().value_unsafe();
        // A short float format would turn 48213000 into 4.8213e+07.
        if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9.2e18) {
            const auto r = std::to_chars(buffer, buffer + sizeof buffer, static_cast<long long>(d));
            out.append(buffer, r.ptr);
        } else {
            const auto r = std::to_chars(buffer, buffer + sizeof buffer, d);
            out.append(buffer, r.ptr);
        }
        break;
    }
    case element_type::BOOL:
        out += value.get_bool().value_unsafe() ? "true" : "false";
        break;
    case element_type::NULL_VALUE:
        break;
    case element_type::ARRAY:
    case element_type::OBJECT:
        out += simdjson::minify(value);
        break;
    }
}

void FlatDocument::walk(simdjson::dom::element value, std::string& path) {
    switch (value.type()) {
    case element_type::OBJECT: {
        simdjson::dom::object object;
        if (value.get(object) != simdjson::SUCCESS)
            break;
        for (auto [key, member] : object) {
            const size_t length = path.size();
            if (!path.empty())
                path += '.';
            path += key;
            walk(member, path);
            path.resize(length);
        }
        break;
    }
    case element_type::ARRAY: {
        simdjson::dom::array array;
        if (value.get(array) != simdjson::SUCCESS)
            break;
        bool scalars = true;
        for (auto element : array)
            if (element.is_object() || element.is_array())
                scalars = false;
        if (!scalars) {
            add(path, simdjson::minify(value));
            break;
        }
        if (m_arrayCount == m_arrays.size())
            m_arrays.emplace_back();
        auto& [arrayPath, parts] = m_arrays[m_arrayCount++];
        arrayPath.assign(path);
        parts.clear();
        std::string& text = addEmpty(path);
        for (auto element : array) {
            if (!parts.empty())
                text += ", ";
            parts.emplace_back();
            appendScalar(element, parts.back());
            text += parts.back();
        }
        break;
    }
    default:
        appendScalar(value, addEmpty(path));
        break;
    }
}

} // namespace kelvane

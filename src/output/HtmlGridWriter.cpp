#include "output/HtmlGridWriter.h"

#include <charconv>

namespace kelvane::output {
namespace {

constexpr std::string_view kStyle = R"(<style>
body { font-family: Tahoma, Verdana, Arial, sans-serif; font-size: 13px; margin: 16px; color: #1e1e1e; background: #ffffff; }
h1 { font-size: 16px; margin: 0 0 10px 0; }
table { border-collapse: collapse; }
th { background: #2b3038; color: #f0f0f0; font-weight: bold; text-align: left; padding: 4px 8px; border: 1px solid #1b1f24; position: sticky; top: 0; }
td { padding: 3px 8px; border: 1px solid #d0d4da; white-space: nowrap; vertical-align: top; }
td.n { text-align: right; }
tr:nth-child(even) td { background: #f4f6f8; }
tr.g td { background: #dde3ea; font-weight: bold; }
</style>
)";

void appendQString(std::string& out, const QString& text) {
    HtmlGridWriter::appendEscaped(out, text.toStdString());
}

} // namespace

HtmlGridWriter::HtmlGridWriter(const QString& path) : m_file(path) {
    m_line.reserve(4096);
}

HtmlGridWriter::~HtmlGridWriter() = default;

void HtmlGridWriter::appendEscaped(std::string& out, std::string_view text) {
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char* entity = nullptr;
        switch (text[i]) {
        case '&':
            entity = "&amp;";
            break;
        case '<':
            entity = "&lt;";
            break;
        case '>':
            entity = "&gt;";
            break;
        case '"':
            entity = "&quot;";
            break;
        case '\'':
            entity = "&#39;";
            break;
        case '\0':
            entity = ""; // not allowed in HTML at all
            break;
        default:
            continue;
        }
        out.append(text.substr(start, i - start));
        out.append(entity);
        start = i + 1;
    }
    out.append(text.substr(start));
}

void HtmlGridWriter::begin(const GridDescription& grid) {
    m_columns = static_cast<int>(grid.columns.size());
    m_line = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n<title>";
    appendQString(m_line, grid.title);
    m_line += "</title>\n";
    m_line += kStyle;
    m_line += "</head>\n<body>\n<h1>";
    appendQString(m_line, grid.title);
    m_line += "</h1>\n<table>\n<thead>\n<tr>";
    for (const GridColumn& column : grid.columns) {
        m_line += "<th>";
        appendQString(m_line, column.caption);
        m_line += "</th>";
    }
    m_line += "</tr>\n</thead>\n<tbody>\n";
    m_file.write(m_line);
}

void HtmlGridWriter::group(int level, const GridColumn& column, const Cell& value) {
    m_line = "<tr class=\"g\"><td colspan=\"" + std::to_string(std::max(1, m_columns)) +
             "\" style=\"padding-left:" + std::to_string(8 + 20 * level) + "px\">";
    appendQString(m_line, column.caption + " : " + value.display());
    m_line += "</td></tr>\n";
    m_file.write(m_line);
}

void HtmlGridWriter::row(std::span<const Cell> cells) {
    m_line.assign("<tr>");
    char number[32];
    for (const Cell& cell : cells) {
        switch (cell.kind) {
        case Cell::Kind::Null:
            m_line += "<td></td>";
            break;
        case Cell::Kind::Integer: {
            m_line += "<td class=\"n\">";
            const auto end = std::to_chars(number, number + sizeof number, cell.integer).ptr;
            m_line.append(number, end);
            m_line += "</td>";
            break;
        }
        case Cell::Kind::Real:
        case Cell::Kind::Boolean:
            m_line += cell.kind == Cell::Kind::Real ? "<td class=\"n\">" : "<td>";
            appendQString(m_line, cell.display());
            m_line += "</td>";
            break;
        case Cell::Kind::Text:
        case Cell::Kind::DateTime:
            m_line += "<td>";
            appendEscaped(m_line, cell.text);
            m_line += "</td>";
            break;
        }
    }
    m_line += "</tr>\n";
    m_file.write(m_line);
}

void HtmlGridWriter::finish() {
    m_file.write(std::string_view("</tbody>\n</table>\n</body>\n</html>\n"));
    m_file.commit();
}

} // namespace kelvane::output

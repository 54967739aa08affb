#include "output/XlsxGridWriter.h"

#include "output/OutputFile.h"

#include <QDir>
#include <QFileInfo>

#include <xlsxwriter.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace kelvane::output {
namespace {

constexpr size_t kMaxCellBytes = 32767; // the format's limit for one cell's text

// Sheet names: at most 31 characters, none of []:*?/\ .
std::string sheetName(const QString& title) {
    QString name;
    for (const QChar c : title)
        if (!QStringLiteral("[]:*?/\\").contains(c))
            name += c;
    name = name.trimmed().left(25);
    return (name.isEmpty() ? QStringLiteral("Sheet") : name).toStdString();
}

// Cut at a character boundary.
std::string_view clipped(std::string_view text) {
    if (text.size() <= kMaxCellBytes)
        return text;
    size_t end = kMaxCellBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

} // namespace

XlsxGridWriter::XlsxGridWriter(const QString& path)
    : m_path(path), m_partial(QFileInfo(path).absolutePath() + "/.kelvane-export-XXXXXX.xlsx"),
      m_rowsPerSheet(LXW_ROW_MAX) {
    // Made here so that a folder that can't be written says why, before any work is done.
    if (!m_partial.open())
        throw ExportError(OutputFile::failureText(path, m_partial.errorString()));
    m_partial.close();
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.use_zip64 = LXW_TRUE; // a million rows outgrow the plain zip format's sizes
    m_book = workbook_new_opt(QFile::encodeName(m_partial.fileName()).constData(), &options);
    if (!m_book)
        throw ExportError(OutputFile::failureText(path, "the workbook could not be created"));
}

XlsxGridWriter::~XlsxGridWriter() {
    if (m_book)
        lxw_workbook_free(m_book); // abandoned: nothing was packed
}

void XlsxGridWriter::check(int error, const char* what) const {
    if (error != LXW_NO_ERROR)
        throw ExportError(OutputFile::failureText(
            m_path, QString("%1 (%2)").arg(lxw_strerror(static_cast<lxw_error>(error)), what)));
}

void XlsxGridWriter::begin(const GridDescription& grid) {
    m_grid = &grid;
    m_sheetBase = sheetName(grid.title);
    lxw_doc_properties properties{};
    const std::string title = grid.title.toStdString();
    properties.title = const_cast<char*>(title.c_str());
    properties.author = const_cast<char*>("Kelvane");
    check(workbook_set_properties(m_book, &properties), "properties");

    m_headerFormat = workbook_add_format(m_book);
    format_set_bold(m_headerFormat);
    format_set_font_color(m_headerFormat, 0xF0F0F0);
    format_set_bg_color(m_headerFormat, 0x2B3038);
    format_set_pattern(m_headerFormat, LXW_PATTERN_SOLID);
    m_groupFormat = workbook_add_format(m_book);
    format_set_bold(m_groupFormat);
    format_set_bg_color(m_groupFormat, 0xDDE3EA);
    format_set_pattern(m_groupFormat, LXW_PATTERN_SOLID);
    m_dateFormat = workbook_add_format(m_book);
    format_set_num_format(m_dateFormat, "yyyy-mm-dd hh:mm:ss.000");
    addSheet();
}

void XlsxGridWriter::addSheet() {
    ++m_sheets;
    const std::string name =
        m_sheets == 1 ? m_sheetBase : m_sheetBase + " (" + std::to_string(m_sheets) + ")";
    m_sheet = workbook_add_worksheet(m_book, name.c_str());
    if (!m_sheet)
        throw ExportError(OutputFile::failureText(m_path, "the sheet could not be added"));
    m_row = 0;
    const auto& columns = m_grid->columns;
    for (size_t c = 0; c < columns.size(); ++c) {
        const double width = std::clamp(columns[c].caption.size() + 4.0, 12.0, 60.0);
        check(worksheet_set_column(m_sheet, lxw_col_t(c), lxw_col_t(c), width, nullptr), "column");
        writeText(int(c), columns[c].caption.toStdString(), m_headerFormat);
    }
    worksheet_freeze_panes(m_sheet, 1, 0);
    m_row = 1;
}

void XlsxGridWriter::nextRow() {
    if (m_row >= m_rowsPerSheet)
        addSheet();
}

void XlsxGridWriter::writeText(int col, std::string_view text, lxw_format* format) {
    const std::string_view cell = clipped(text);
    const char* data;
    if (cell.size() == text.size() && text.data()[text.size()] == '\0') {
        data = text.data(); // the database's text ends in a zero byte already
    } else {
        m_buffer.assign(cell);
        data = m_buffer.c_str();
    }
    check(worksheet_write_string(m_sheet, m_row, lxw_col_t(col), data, format), "text");
}

void XlsxGridWriter::group(int level, const GridColumn& column, const Cell& value) {
    nextRow();
    writeText(0, (QString(level * 4, ' ') + column.caption + " : " + value.display()).toStdString(),
              m_groupFormat);
    ++m_row;
}

void XlsxGridWriter::row(std::span<const Cell> cells) {
    nextRow();
    for (size_t c = 0; c < cells.size(); ++c) {
        const Cell& cell = cells[c];
        const auto col = lxw_col_t(c);
        switch (cell.kind) {
        case Cell::Kind::Null:
            break;
        case Cell::Kind::Integer:
            check(worksheet_write_number(m_sheet, m_row, col, double(cell.integer), nullptr), "number");
            break;
        case Cell::Kind::Real:
            check(worksheet_write_number(m_sheet, m_row, col, cell.real, nullptr), "number");
            break;
        case Cell::Kind::Boolean:
            check(worksheet_write_boolean(m_sheet, m_row, col, cell.integer != 0, nullptr), "truth value");
            break;
        case Cell::Kind::DateTime:
            if (const auto serial = dateSerial(cell.text)) {
                check(worksheet_write_number(m_sheet, m_row, col, *serial, m_dateFormat), "date");
                break;
            }
            [[fallthrough]]; // not a date after all: kept as the text it is
        case Cell::Kind::Text:
            writeText(int(c), cell.text, nullptr);
            break;
        }
    }
    ++m_row;
}

void XlsxGridWriter::finish() {
    lxw_workbook* book = std::exchange(m_book, nullptr);
    check(workbook_close(book), "closing");
    std::error_code error;
    std::filesystem::rename(std::filesystem::path(m_partial.fileName().toStdU16String()),
                            std::filesystem::path(m_path.toStdU16String()), error);
    if (error)
        throw ExportError(OutputFile::failureText(m_path, QString::fromStdString(error.message())));
    m_partial.setAutoRemove(false); // it is the file now
    // A temporary file is private to its owner; the workbook is an ordinary document.
    QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup |
                                      QFileDevice::ReadOther);
}

} // namespace kelvane::output

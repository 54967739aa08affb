#pragma once

#include "output/GridExport.h"

#include <QTemporaryFile>

#include <cstdint>
#include <memory>

struct lxw_workbook;
struct lxw_worksheet;
struct lxw_format;

namespace kelvane::output {

// The grid as an Excel workbook, with the cells' own types: numbers as numbers, dates as dates with a
// date format, truth values as such. The library's constant-memory mode writes each row away as the
// next begins. A grid longer than a sheet goes on in another sheet with the same header.
class XlsxGridWriter : public GridSink {
public:
    explicit XlsxGridWriter(const QString& path);
    ~XlsxGridWriter() override;

    void begin(const GridDescription& grid) override;
    void group(int level, const GridColumn& column, const Cell& value) override;
    void row(std::span<const Cell> cells) override;
    void finish() override;

    // Rows of one sheet, header included; a test may make it small.
    void setRowsPerSheet(std::uint32_t rows) { m_rowsPerSheet = rows; }

private:
    void addSheet();
    void nextRow();
    void check(int error, const char* what) const;
    void writeText(int col, std::string_view text, lxw_format* format);

    QString m_path;
    QTemporaryFile m_partial; // where the workbook is written before it takes the chosen name
    lxw_workbook* m_book = nullptr;
    lxw_worksheet* m_sheet = nullptr;
    lxw_format* m_headerFormat = nullptr;
    lxw_format* m_groupFormat = nullptr;
    lxw_format* m_dateFormat = nullptr;
    const GridDescription* m_grid = nullptr;
    std::string m_sheetBase;
    std::string m_buffer;
    int m_sheets = 0;
    std::uint32_t m_row = 0;
    std::uint32_t m_rowsPerSheet;
};

} // namespace kelvane::output

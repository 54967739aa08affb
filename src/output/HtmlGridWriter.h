#pragma once

#include "output/GridExport.h"
#include "output/OutputFile.h"

#include <memory>

namespace kelvane::output {

// The grid as one self-contained HTML page: its own small style sheet, a dark header like the grid's,
// every value escaped. Rows go to the file as they come.
class HtmlGridWriter : public GridSink {
public:
    explicit HtmlGridWriter(const QString& path);
    ~HtmlGridWriter() override;

    void begin(const GridDescription& grid) override;
    void group(int level, const GridColumn& column, const Cell& value) override;
    void row(std::span<const Cell> cells) override;
    void finish() override;

    // Text made safe for an element's content or an attribute's value.
    static void appendEscaped(std::string& out, std::string_view text);

private:
    OutputFile m_file;
    std::string m_line;
    int m_columns = 0;
};

} // namespace kelvane::output

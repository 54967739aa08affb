#pragma once

#include <string_view>

namespace kelvane {

class TTableDataset;

// Where the write-side datasets come from: the data module, or the recording twins that prepare rows
// on the reading thread of an import.
class TDatasetSource {
public:
    virtual ~TDatasetSource() = default;
    // The dataset of a table (ProcessCreate); throws when there is none.
    virtual TTableDataset& tableDataset(std::string_view tableName) = 0;
};

} // namespace kelvane

#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <stdexcept>

namespace kelvane::output {

// An export that could not be completed; the text is for the user. Nothing of the file is left.
class ExportError : public std::runtime_error {
public:
    explicit ExportError(const QString& text) : std::runtime_error(text.toStdString()) {}
    QString text() const { return QString::fromStdString(what()); }
};

// The user stopped the export; nothing of the file is left.
class ExportCancelled : public std::runtime_error {
public:
    ExportCancelled() : std::runtime_error("The export was cancelled.") {}
};

// Told how far an export has come (rows or pixel lines written, out of total when known, else -1);
// answers false to stop it.
using ExportProgress = std::function<bool(std::int64_t done, std::int64_t total)>;

} // namespace kelvane::output

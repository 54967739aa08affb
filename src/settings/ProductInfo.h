#pragma once

// Who stands behind the program: named by the main window, the about box and the import dialogs,
// so it lives below all of them.
namespace kelvane::product {

// The support address of the failure messages after an import or a failed connection.
constexpr const char* kSupportAddress = "support@kelvane.org";
// The project's home page, linked from the about box's credit line.
constexpr const char* kProjectPage = "https://kelvane.org";

} // namespace kelvane::product

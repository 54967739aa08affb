#pragma once

#include <QString>

namespace kelvane::output {

// Where the main window's exports go: each save dialog starts in the folder used last (at first the
// user's documents folder) with a name made of the view and the day, so that a second export of the
// same view on another day does not replace the first.
class ExportPlace {
public:
    // "FOLDER/Kelvane Process View 2024-05-01.bmp"
    QString suggestion(const QString& view, const QString& extension) const;
    // The folder of a file just written becomes the next dialogs' folder.
    void remember(const QString& fileName);
    QString folder() const;

private:
    QString m_folder;
};

} // namespace kelvane::output

#pragma once

#include "store/EventCatalogue.h"
#include "store/TPagedQuery.h"

#include <QString>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kelvane {

class TMainDataModule;

// The three lists of the process view, narrowing from an executable's name to its paths to the
// sessions of one path, and the event filter over the first of them.

// The filter's entries in their fixed order (the catalogue's).
std::span<const EventFilterEntry> eventFilterEntries();

// The text of the images query for the entries ticked, by place in eventFilterEntries(): the
// conditions joined by OR and grouped by the name as it stands; with none ticked the bare select.
std::string imagesQueryText(const std::vector<bool>& ticked);
// Gives FDQueryExes that text; false when nothing is ticked, so that the lists stay empty.
bool applyImagesFilter(TMainDataModule& data, const std::vector<bool>& ticked);

// The rows of the three lists: executables (FDQueryExes), the paths of one executable
// (FDQueryImages), the sessions of one path (FDQuerySessions). Opens the connection if need be.
std::unique_ptr<TPagedQuery> imagesList(TMainDataModule& data);
std::unique_ptr<TPagedQuery> pathsOfImage(TMainDataModule& data, const QString& exeName);
std::unique_ptr<TPagedQuery> sessionsOfPath(TMainDataModule& data, const QString& image);

// What tells one session from another where the list shows only GUIDs: its process's start time,
// process id, user and command line, one a line, from its process creation (the first, should a
// log hold two); a plain note when there is none.
QString sessionSummary(sql::Database& db, const QString& guid);

} // namespace kelvane

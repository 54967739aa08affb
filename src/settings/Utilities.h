#pragma once

#include "settings/TIdNetworkCalculator.h"
#include "settings/TSysmonEventData.h"

#include <QString>

#include <functional>

namespace kelvane {

// Shows a notice to the user; the window layer supplies it (an information box with no owner).
using RegistryMessageCallback = std::function<void(const QString& title, const QString& text)>;

// Where the registry jump reads and writes, and how it starts the editor. The defaults are the
// real ones; tests replace them so that nothing in the user's folders is touched and nothing runs.
struct RegistryEditorOptions {
    // Without a Windows registry, the editor's per-user settings stand in an INI file with the
    // group "Regedit". Empty means the default file under the user's configuration folder.
    // Ignored on Windows, where the registry itself is used.
    QString settingsFile;
    // Gives the editor's program, or an empty text when there is none.
    std::function<QString()> findEditor;
    // Starts the program on its own; whether it started is not checked.
    std::function<void(const QString& program)> startEditor;

    static QString defaultSettingsFile();
};

// Opens the registry editor at keyPath by writing the path, unchanged, to the editor's last-key
// value before starting it. When the editor's settings key is missing (the user never ran it),
// shows "Notification" through showMessage and starts nothing.
void OpenKeyInRegistryEditor(const QString& keyPath, const RegistryMessageCallback& showMessage,
                             const RegistryEditorOptions& options = {});

// True when the dotted IPv4 address lies in a private, loopback, link-local, documentation,
// relay, benchmark, multicast or reserved network. The calculator's network is overwritten.
// Throws std::runtime_error when the address is not a dotted IPv4 address.
bool IsPrivateIPAddress(const QString& address, TIdNetworkCalculator& calculator);

// The last two dot-separated labels of the host part of a name, URL or address:
// "http://a.example.org/x" gives "example.org", "192.0.2.7" gives "2.7".
QString ExtractDomainName(const QString& hostOrAddress);

} // namespace kelvane

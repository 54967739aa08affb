#include "settings/Utilities.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QStringList>

#include <array>
#include <stdexcept>

#ifdef Q_OS_WIN
#include <qt_windows.h>
#include <shellapi.h>

#include <string>
#endif

namespace kelvane {

namespace {

struct Network {
    const char* address;
    const char* mask;
};

// Beside the private ranges: loopback, link-local, documentation, the 6to4 relay, the benchmark
// range (two class-B blocks), multicast and reserved. The shared range 100.64.0.0/10 is not here.
constexpr std::array<Network, 13> kPrivateNetworks{{
    {"0.0.0.0", "255.0.0.0"},
    {"10.0.0.0", "255.0.0.0"},
    {"127.0.0.0", "255.0.0.0"},
    {"169.254.0.0", "255.255.0.0"},
    {"172.16.0.0", "255.240.0.0"},
    {"192.0.2.0", "255.255.255.0"},
    {"192.88.99.0", "255.255.255.0"},
    {"192.168.0.0", "255.255.0.0"},
    {"198.18.0.0", "255.254.0.0"},
    {"198.51.100.0", "255.255.255.0"},
    {"203.0.113.0", "255.255.255.0"},
    {"224.0.0.0", "240.0.0.0"},
    {"240.0.0.0", "240.0.0.0"},
}};

#ifdef Q_OS_WIN

const wchar_t kRegeditKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Applets\\Regedit";

// False when the editor's key does not exist; the key is never created here.
bool rememberLastKey(const QString& keyPath, const RegistryEditorOptions&) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, kRegeditKey, 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS)
        return false;
    const std::wstring value = keyPath.toStdWString();
    const LONG rc = RegSetValueExW(key, L"LastKey", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
    if (rc != ERROR_SUCCESS)
        throw std::runtime_error("Failed to set data for 'LastKey'");
    return true;
}

// A fixed path on purpose; it does not follow where Windows is really installed.
QString findEditorDefault() {
    return QStringLiteral("C:\\WINDOWS\\regedit.exe");
}

void startEditorDefault(const QString& program) {
    ShellExecuteW(nullptr, L"Open", reinterpret_cast<LPCWSTR>(program.utf16()), nullptr, nullptr,
                  SW_SHOWNORMAL);
}

#else

// A key with no values is still there, but QSettings lists only groups that hold values.
bool hasEmptyRegeditSection(const QString& file) {
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    while (!in.atEnd())
        if (in.readLine().trimmed() == "[Regedit]")
            return true;
    return false;
}

bool rememberLastKey(const QString& keyPath, const RegistryEditorOptions& options) {
    const QString file =
        options.settingsFile.isEmpty() ? RegistryEditorOptions::defaultSettingsFile() : options.settingsFile;
    // Checked before QSettings is made, which would otherwise bring the file into being on write.
    if (!QFileInfo::exists(file))
        return false;
    QSettings settings(file, QSettings::IniFormat);
    if (!settings.childGroups().contains(QStringLiteral("Regedit")) && !hasEmptyRegeditSection(file))
        return false;
    settings.setValue(QStringLiteral("Regedit/LastKey"), keyPath);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        throw std::runtime_error("Failed to set data for 'LastKey'");
    return true;
}

QString findEditorDefault() {
    return QStandardPaths::findExecutable(QStringLiteral("regedit"));
}

void startEditorDefault(const QString& program) {
    QProcess::startDetached(program, {});
}

#endif

} // namespace

QString RegistryEditorOptions::defaultSettingsFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Kelvane/Regedit.ini");
}

void OpenKeyInRegistryEditor(const QString& keyPath, const RegistryMessageCallback& showMessage,
                             const RegistryEditorOptions& options) {
    if (!rememberLastKey(keyPath, options)) {
        if (showMessage)
            showMessage(QStringLiteral("Notification"), QStringLiteral("Unable to navigate to key : ") +
                                                            QLatin1Char('\n') + QLatin1Char('"') + keyPath +
                                                            QLatin1Char('"'));
        return;
    }
    const QString program = options.findEditor ? options.findEditor() : findEditorDefault();
    if (program.isEmpty())
        return;
    if (options.startEditor)
        options.startEditor(program);
    else
        startEditorDefault(program);
}

bool IsPrivateIPAddress(const QString& address, TIdNetworkCalculator& calculator) {
    // Every network is tested, also after a hit, so that a bad address fails the same way always.
    bool inAny = false;
    for (const Network& network : kPrivateNetworks) {
        calculator.setNetworkAddress(QLatin1String(network.address));
        calculator.setNetworkMask(QLatin1String(network.mask));
        if (calculator.isAddressInNetwork(address))
            inAny = true;
    }
    return inAny;
}

QString ExtractDomainName(const QString& hostOrAddress) {
    // "*" marks where a scheme ended and "^" where the path begins; the host lies between.
    QString marked = hostOrAddress;
    marked.replace(QStringLiteral("//"), QStringLiteral("*"));
    marked.replace(QLatin1Char('/'), QLatin1Char('^'));

    const qsizetype star = marked.indexOf(QLatin1Char('*'));
    const qsizetype caret = marked.indexOf(QLatin1Char('^'));
    const qsizetype from = star < 0 ? 0 : star;
    const qsizetype to = caret < 0 ? marked.size() : caret;
    // A path before the scheme mark ("a/b//c") leaves nothing; mid() would give the rest instead.
    const QString host = to > from ? marked.mid(from, to - from) : QString();

    const QStringList labels = host.split(QLatin1Char('.'));
    if (labels.size() < 2)
        return host;
    return labels.at(labels.size() - 2) + QLatin1Char('.') + labels.last();
}

} // namespace kelvane

#pragma once

// The event writers of SysmonLogGenerator: one per family of Sysmon event types, each writing the data
// items in the order Sysmon does. Included at the end of SysmonLogGenerator.h.

#include "SysmonLogGenerator.h"

namespace kelvane {

inline void SysmonLogGenerator::emit(Host& h, const Process* p, int id) {
    if (!p)
        p = &h.procs[pickIndex(h)];
    switch (id) {
    case 2:
    case 9:
    case 11:
    case 15:
        return emitFile(h, *p, id);
    case 3:
        return emitNetwork(h, *p);
    case 7:
        return emitImageLoad(h, *p);
    case 8:
    case 10:
        return emitAccess(h, *p, id);
    case 12:
    case 13:
    case 14:
        return emitRegistry(h, *p, id);
    case 17:
    case 18:
        return emitPipe(h, *p, id);
    case 22:
        return emitDns(h, *p);
    case 19: {
        // A WMI subscription arrives as filter, consumer and binding, one after another.
        m_wmiToken = static_cast<std::uint32_t>(m_rng.next());
        const auto hostIndex = static_cast<int>(&h - m_hosts.data());
        m_queue.push_front({21, hostIndex});
        m_queue.push_front({20, hostIndex});
        return emitWmi(h, 19);
    }
    case 20:
    case 21:
        return emitWmi(h, id);
    case 23:
    case 24:
    case 25:
    case 26:
    case 27:
    case 28:
    case 29:
        return emitModern(h, *p, id);
    default: // 4, 6, 16
        return emitSysmonState(h, id);
    }
}

inline void SysmonLogGenerator::emitCreate(Host& h) {
    const int exe = drawSpawnExe();
    const genlog::ExeEntry& e = genlog::kExes[exe];
    // In a process tree most children come from a process that started during the log.
    const bool fromMortal =
        m_options.processTree && h.procs.size() > std::size_t(genlog::kInitialExes) && m_rng.percent(50);
    const Process& parent =
        fromMortal                                 ? h.procs[genlog::kInitialExes +
                             m_rng.below(static_cast<std::uint32_t>(h.procs.size() - genlog::kInitialExes))]
        : e.parent == genlog::ParentKind::Services ? h.procs[4]
        : e.parent == genlog::ParentKind::Explorer ? h.procs[1]
        : e.parent == genlog::ParentKind::Browser  ? h.procs[3]
                                                   : h.procs[pickIndex(h)];
    Process child = makeProcess(h, exe, m_clock);
    const bool user = e.account == genlog::Account::User;
    auto orUnknown = [](std::string_view text) { return text.empty() ? std::string_view("?") : text; };

    begin(h, 1);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    processItems(child);
    item("FileVersion", orUnknown(e.version));
    item("Description", orUnknown(e.description));
    item("Product", orUnknown(e.product));
    item("Company", orUnknown(e.company));
    if (h.modern)
        item("OriginalFileName", orUnknown(e.originalName));
    item("CommandLine", child.commandLine);
    item("CurrentDirectory",
         user ? expanded(h, R"(C:\Users\%U\)") : std::string_view(R"(C:\Windows\system32\)"));
    userItem(h, e.account);
    item("LogonGuid", h.logonGuids[static_cast<int>(e.account)]);
    static constexpr std::string_view serviceLogonIds[] = {"0x3e7", "0x3e5", "0x3e4"};
    m_scratch = "0x";
    genlog::appendHex(m_scratch, h.logonId, 5, false);
    item("LogonId", user ? std::string_view(m_scratch) : serviceLogonIds[static_cast<int>(e.account)]);
    itemNumber("TerminalSessionId", user ? 1 : 0);
    item("IntegrityLevel", !user ? "System" : m_rng.percent(20) ? "High" : "Medium");
    m_scratch.clear();
    genlog::appendHashText(m_scratch, h.hashForm, genlog::hashDigits(genlog::fnv1a(child.image)));
    item("Hashes", m_scratch);
    item("ParentProcessGuid", parent.guid);
    itemNumber("ParentProcessId", parent.pid);
    item("ParentImage", parent.image);
    item("ParentCommandLine", parent.commandLine);
    if (h.modern)
        userItem(h, genlog::kExes[parent.exe].account, "ParentUser");
    end();
    h.procs.push_back(std::move(child));
}

inline void SysmonLogGenerator::emitTerminate(Host& h, std::size_t index) {
    const Process& p = h.procs[index];
    begin(h, 5);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    processItems(p);
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
    std::swap(h.procs[index], h.procs.back());
    h.procs.pop_back();
    ++h.pendingStarts; // something else starts in its place
}

inline void SysmonLogGenerator::emitFile(Host& h, const Process& p, int id) {
    begin(h, id);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    processItems(p);
    if (id == 9) {
        m_scratch = "\\Device\\HarddiskVolume";
        genlog::appendUInt(m_scratch, m_rng.range(1, 4));
        item("Device", m_scratch);
    } else if (id == 15) {
        std::string target = expanded(h, m_rng.percent(50) ? R"(C:\Users\%U\Downloads\setup_%R.exe)"
                                                           : R"(C:\Users\%U\Downloads\invoice_%N.pdf)");
        target.append(":Zone.Identifier");
        item("TargetFilename", target);
        itemTime("CreationUtcTime", m_clock - m_rng.below(3000));
        m_scratch.clear();
        if (h.modern)
            genlog::appendHashText(m_scratch, h.hashForm, genlog::hashDigits(genlog::fnv1a(target)));
        item("Hash", h.modern ? std::string_view(m_scratch) : "Unknown");
        if (h.modern)
            item("Contents", expanded(h, "[ZoneTransfer]  ZoneId=3  ReferrerUrl=https://www.google.com/  "
                                         "HostUrl=https://files.example.org/download?id=%N&token=%R  "));
    } else {
        item("TargetFilename",
             expanded(h, genlog::kFileTargets[m_rng.below(std::size(genlog::kFileTargets))]));
        if (id == 2) {
            // Time stomping: an old, round creation time replaces the real one.
            itemTime("CreationUtcTime", (m_clock / 1000 - m_rng.range(30, 3000) * 86'400LL) * 1000);
            itemTime("PreviousCreationUtcTime", m_clock - m_rng.range(1, 5000));
        } else {
            itemTime("CreationUtcTime",
                     m_rng.percent(80) ? m_clock
                                       : m_clock - static_cast<std::int64_t>(m_rng.next() % 31'536'000'000));
        }
    }
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
}

// The event types of Sysmon 13 and later: deleted, blocked or detected files, the clipboard, tampering.
inline void SysmonLogGenerator::emitModern(Host& h, const Process& p, int id) {
    begin(h, id);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    if (id == 24 || id == 25) {
        processItems(p);
        if (id == 24) {
            itemNumber("Session", m_rng.range(1, 3));
            item("ClientInfo", expanded(h, "user: %U"));
            m_scratch.clear();
            genlog::appendHashText(m_scratch, genlog::HashForm::Sha1, genlog::hashDigits(m_rng.next()));
            item("Hashes", m_scratch);
            item("Archived", "false");
        } else {
            item("Type", m_rng.percent(70) ? "Image is locked for access" : "Image is replaced");
        }
        userItem(h, genlog::kExes[p.exe].account);
        return end();
    }
    item("ProcessGuid", p.guid);
    itemNumber("ProcessId", p.pid);
    userItem(h, genlog::kExes[p.exe].account);
    item("Image", p.image);
    const bool executable = id == 27 || id == 29 || m_rng.percent(8);
    const std::string target =
        executable ? expanded(h, R"(C:\Users\%U\AppData\Local\Temp\%R.exe)")
                   : expanded(h, genlog::kFileTargets[m_rng.below(std::size(genlog::kFileTargets))]);
    item("TargetFilename", target);
    m_scratch.clear();
    genlog::appendHashText(m_scratch, h.hashForm, genlog::hashDigits(genlog::fnv1a(target)));
    item("Hashes", m_scratch);
    if (id == 23 || id == 26 || id == 28)
        item("IsExecutable", executable ? "true" : "false");
    if (id == 23)
        item("Archived", executable ? "true" : "false");
    end();
}

inline void SysmonLogGenerator::emitNetwork(Host& h, const Process& p) {
    const bool v6 = m_rng.percent(4);
    const bool toInternet = !v6 && m_rng.percent(70);
    const bool initiated = toInternet || m_rng.percent(60);
    const genlog::Port service =
        toInternet ? genlog::kPorts[m_rng.below(4)] : genlog::kPorts[m_rng.below(std::size(genlog::kPorts))];
    const std::uint32_t ephemeral = m_rng.range(49152, 65535);
    std::string remote;
    if (v6) {
        remote = linkLocalAddress();
    } else if (toInternet) {
        // Few addresses take most of the traffic.
        const auto n = static_cast<std::uint32_t>(m_publicIps.size());
        remote = m_publicIps[std::min(m_rng.below(n), m_rng.below(n))];
    } else {
        remote = m_rng.percent(50) ? "10.0.0.10" : "10.0.0." + std::to_string(m_rng.range(11, 250));
    }
    const std::string_view none = h.modern ? "-" : "";

    begin(h, 3);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    processItems(p);
    userItem(h, genlog::kExes[p.exe].account);
    const bool udp =
        service.number == 53 || service.number == 137 || service.number == 1900 || service.number == 5355;
    item("Protocol", udp ? "udp" : "tcp");
    item("Initiated", initiated ? "true" : "false");
    item("SourceIsIpv6", v6 ? "true" : "false");
    item("SourceIp", v6 ? h.linkLocal : h.ip);
    item("SourceHostname", m_rng.percent(10) ? none : std::string_view(h.name));
    itemNumber("SourcePort", initiated ? ephemeral : static_cast<std::uint32_t>(service.number));
    item("SourcePortName", initiated ? none : service.name);
    item("DestinationIsIpv6", v6 ? "true" : "false");
    item("DestinationIp", remote);
    if (toInternet && m_rng.percent(40)) {
        m_scratch = "server-" + remote;
        std::replace(m_scratch.begin(), m_scratch.end(), '.', '-');
        m_scratch.append(".fra50.r.cloudfront.net");
        item("DestinationHostname", m_scratch);
    } else {
        item("DestinationHostname", remote == "10.0.0.10" ? "DC01.corp.example.com" : none);
    }
    itemNumber("DestinationPort", initiated ? static_cast<std::uint32_t>(service.number) : ephemeral);
    item("DestinationPortName", initiated ? service.name : none);
    end();
}

inline void SysmonLogGenerator::emitImageLoad(Host& h, const Process& p) {
    const std::uint32_t r = m_rng.below(100);
    begin(h, 7);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    processItems(p);
    auto rest = [&](std::string_view version, std::string_view description, std::string_view product,
                    std::string_view company, std::string_view original, const genlog::HashDigits& digits,
                    std::string_view signature) {
        item("FileVersion", version);
        item("Description", description);
        item("Product", product);
        item("Company", company);
        if (h.modern)
            item("OriginalFileName", original);
        m_scratch.clear();
        genlog::appendHashText(m_scratch, h.hashForm, digits);
        item("Hashes", m_scratch);
        item("Signed", signature.empty() ? "false" : "true");
        item("Signature", signature.empty() ? (h.modern ? "-" : "") : signature);
        item("SignatureStatus", signature.empty() ? "Unavailable" : "Valid");
    };
    if (r < 3) { // an unsigned library dropped in a temporary folder
        const std::string path = expanded(h, R"(C:\Users\%U\AppData\Local\Temp\%R.dll)");
        item("ImageLoaded", path);
        rest("?", "?", "?", "?", "?", genlog::hashDigits(genlog::fnv1a(path)), "");
    } else if (r < 10) { // the process's own executable
        const genlog::ExeEntry& e = genlog::kExes[p.exe];
        item("ImageLoaded", p.image);
        const bool windows = e.company == genlog::kMs && p.image.starts_with("C:\\Windows");
        rest(e.version.empty() ? "?" : e.version, e.description.empty() ? "?" : e.description,
             e.product.empty() ? "?" : e.product, e.company.empty() ? "?" : e.company,
             e.originalName.empty() ? "?" : e.originalName, genlog::hashDigits(genlog::fnv1a(p.image)),
             windows ? "Microsoft Windows" : e.company);
    } else {
        const auto k = m_rng.below(std::size(genlog::kDlls));
        const genlog::DllEntry& dll = genlog::kDlls[k];
        item("ImageLoaded", dll.path);
        rest(k % 3 ? genlog::kWinVer : genlog::kWinVer2, dll.description, genlog::kWinProduct, genlog::kMs,
             dll.originalName, m_dllHashes[k], "Microsoft Windows");
    }
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
}

inline void SysmonLogGenerator::emitRegistry(Host& h, const Process& p, int id) {
    const genlog::RegEntry& key = genlog::kRegKeys[m_rng.below(std::size(genlog::kRegKeys))];
    const std::uint32_t r = m_rng.below(100);
    begin(h, id);
    ruleName(h);
    item("EventType", id == 13   ? "SetValue"
                      : id == 14 ? "RenameKey"
                      : r < 65   ? "CreateKey"
                      : r < 90   ? "DeleteKey"
                                 : "DeleteValue");
    itemTime("UtcTime", m_clock);
    processItems(p);
    std::string target = expanded(h, key.key);
    if (id == 14)
        target.append("\\New Key #1");
    item("TargetObject", target);
    if (id == 14) {
        target.resize(target.size() - 10);
        genlog::appendHex(target, static_cast<std::uint32_t>(m_rng.next()), 8);
        item("NewName", target);
    } else if (id == 13) {
        m_scratch.clear();
        switch (key.value) {
        case genlog::RegValue::Dword:
            m_scratch = "DWORD (0x";
            genlog::appendHex(m_scratch, m_rng.below(4096), 8, false);
            m_scratch.push_back(')');
            break;
        case genlog::RegValue::Qword:
            m_scratch = "QWORD (0x";
            genlog::appendHex(m_scratch, m_rng.range(0x01D80000, 0x01D9FFFF), 8, false);
            m_scratch.append("-0x");
            genlog::appendHex(m_scratch, m_rng.next(), 8, false);
            m_scratch.push_back(')');
            break;
        case genlog::RegValue::Binary:
            m_scratch = "Binary Data";
            break;
        case genlog::RegValue::Path:
            expandInto(m_scratch, h, R"("C:\Users\%U\AppData\Local\Temp\%R.exe" /background)",
                       static_cast<std::uint32_t>(m_rng.next()));
            break;
        case genlog::RegValue::Address:
            m_scratch = h.ip;
            break;
        case genlog::RegValue::Empty:
            m_scratch = "(Empty)";
            break;
        }
        item("Details", m_scratch);
    }
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
}

inline void SysmonLogGenerator::emitAccess(Host& h, const Process& p, int id) {
    const Process& target = other(h);
    const bool thread = id == 8;
    begin(h, id);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    item(thread ? "SourceProcessGuid" : "SourceProcessGUID", p.guid);
    itemNumber("SourceProcessId", p.pid);
    if (!thread)
        itemNumber("SourceThreadId", 4 * m_rng.range(100, 5000));
    item("SourceImage", p.image);
    item(thread ? "TargetProcessGuid" : "TargetProcessGUID", target.guid);
    itemNumber("TargetProcessId", target.pid);
    item("TargetImage", target.image);
    m_scratch.clear();
    if (thread) {
        itemNumber("NewThreadId", 4 * m_rng.range(100, 5000));
        m_scratch = "0x";
        genlog::appendHex(m_scratch, 0x7FF800000000ull + (m_rng.next() & 0x7FFFFFFFF), 16);
        item("StartAddress", m_scratch);
        const bool known = m_rng.percent(60);
        item("StartModule", known ? R"(C:\Windows\System32\KERNELBASE.dll)" : h.modern ? "-" : "");
        item("StartFunction", known ? "CtrlRoutine" : h.modern ? "-" : "");
    } else {
        static constexpr std::string_view access[] = {"0x1000",   "0x1400",   "0x1410", "0x1010",
                                                      "0x1fffff", "0x101000", "0x40",   "0x3000"};
        static constexpr std::string_view modules[] = {
            R"(C:\Windows\SYSTEM32\ntdll.dll)",    R"(C:\Windows\System32\KERNELBASE.dll)",
            R"(C:\Windows\System32\KERNEL32.DLL)", R"(C:\Windows\System32\RPCRT4.dll)",
            R"(C:\Windows\System32\combase.dll)",  R"(C:\Windows\system32\wbem\cimwin32.dll)"};
        item("GrantedAccess", access[m_rng.below(std::size(access))]);
        const std::uint32_t frames = m_rng.range(3, 12);
        for (std::uint32_t i = 0; i < frames; ++i) {
            if (i)
                m_scratch.push_back('|');
            if (i + 1 == frames && m_rng.percent(5)) {
                m_scratch.append("UNKNOWN(");
                genlog::appendHex(m_scratch, m_rng.next(), 16);
                m_scratch.push_back(')');
                continue;
            }
            m_scratch.append(i + 2 == frames ? std::string_view(p.image)
                                             : modules[m_rng.below(std::size(modules))]);
            m_scratch.push_back('+');
            genlog::appendHex(m_scratch, m_rng.range(0x1000, 0xFFFFF), 5, false);
        }
        item("CallTrace", m_scratch);
    }
    if (h.modern) {
        userItem(h, genlog::kExes[p.exe].account, "SourceUser");
        userItem(h, genlog::kExes[target.exe].account, "TargetUser");
    }
    end();
}

inline void SysmonLogGenerator::emitDns(Host& h, const Process& p) {
    const auto domainIndex = m_rng.below(std::size(genlog::kDomains));
    const std::string name = expanded(h, genlog::kDomains[domainIndex]);
    const std::uint32_t r = m_rng.below(100);
    const int status = r < 90 ? 0 : r < 95 ? 9003 : r < 98 ? 9501 : 1460;
    m_scratch.clear();
    if (status != 0) {
        m_scratch = "-";
    } else if (name.ends_with("corp.example.com")) {
        m_scratch = "::ffff:10.0.0.10;";
    } else {
        if (m_rng.percent(40)) {
            m_scratch.append("type:  5 ").append(name);
            std::replace(m_scratch.begin() + 9, m_scratch.end(), '.', '-');
            m_scratch.append(".a-0003.a-msedge.net;");
        }
        // The same name resolves to the same few addresses each time.
        const std::uint64_t base = genlog::fnv1a(name);
        const std::uint32_t count = m_rng.range(1, 4);
        for (std::uint32_t i = 0; i < count; ++i)
            m_scratch.append("::ffff:")
                .append(m_publicIps[(base + i * 7) % m_publicIps.size()])
                .push_back(';');
        if (m_rng.percent(5))
            m_scratch.append("2606:4700:0:0:0:0:6810:84e5;");
    }
    begin(h, 22);
    ruleName(h);
    itemTime("UtcTime", m_clock);
    item("ProcessGuid", p.guid);
    itemNumber("ProcessId", p.pid);
    item("QueryName", name);
    itemNumber("QueryStatus", static_cast<std::uint64_t>(status));
    item("QueryResults", m_scratch);
    item("Image", p.image);
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
}

inline void SysmonLogGenerator::emitPipe(Host& h, const Process& p, int id) {
    begin(h, id);
    ruleName(h);
    if (h.modern)
        item("EventType", id == 17 ? "CreatePipe" : "ConnectPipe");
    itemTime("UtcTime", m_clock);
    item("ProcessGuid", p.guid);
    itemNumber("ProcessId", p.pid);
    item("PipeName", expanded(h, genlog::kPipes[m_rng.below(std::size(genlog::kPipes))]));
    item("Image", p.image);
    if (h.modern)
        userItem(h, genlog::kExes[p.exe].account);
    end();
}

inline void SysmonLogGenerator::emitWmi(Host& h, int id) {
    static constexpr std::string_view types[] = {"WmiFilterEvent", "WmiConsumerEvent", "WmiBindingEvent"};
    m_scratch.clear();
    genlog::appendHex(m_scratch, m_wmiToken, 8);
    const std::string name = m_scratch;
    begin(h, id);
    ruleName(h);
    item("EventType", types[id - 19]);
    itemTime("UtcTime", m_clock);
    item("Operation", "Created");
    userItem(h, genlog::Account::User);
    if (id == 19) {
        item("EventNamespace", R"( "root\\CimV2")");
        item("Name", " \"Updater_" + name + "\"");
        item(
            "Query",
            R"( "SELECT * FROM __InstanceModificationEvent WITHIN 60 WHERE TargetInstance ISA 'Win32_PerfFormattedData_PerfOS_System' AND TargetInstance.SystemUpTime >= 240 AND TargetInstance.SystemUpTime < 325")");
    } else if (id == 20) {
        item("Name", " \"Updater_" + name + "\"");
        const bool script = m_wmiToken % 2 == 0;
        item("Type", script ? "Script" : "Command Line");
        item("Destination",
             script ? " \"Set shell = CreateObject(\\\"WScript.Shell\\\")\n"
                      "shell.Run \\\"cmd /c echo 1 > C:\\\\Windows\\\\Temp\\\\" +
                          name + ".txt\\\", 0\n\""
                    : " \"C:\\\\Users\\\\" + h.user + "\\\\AppData\\\\Local\\\\Temp\\\\" + name + ".exe\"");
    } else {
        item("Consumer", " \"CommandLineEventConsumer.Name=\\\"Updater_" + name + "\\\"\"");
        item("Filter", " \"__EventFilter.Name=\\\"Updater_" + name + "\\\"\"");
    }
    end();
}

inline void SysmonLogGenerator::emitSysmonState(Host& h, int id) {
    begin(h, id);
    if (id == 6) {
        const auto k = m_rng.below(std::size(genlog::kDrivers));
        ruleName(h);
        itemTime("UtcTime", m_clock);
        item("ImageLoaded", genlog::kDrivers[k].path);
        m_scratch.clear();
        genlog::appendHashText(m_scratch, h.hashForm, m_driverHashes[k]);
        item("Hashes", m_scratch);
        item("Signed", "true");
        item("Signature", genlog::kDrivers[k].signature);
        item("SignatureStatus", "Valid");
    } else if (id == 4) {
        itemTime("UtcTime", m_clock);
        item("State", "Started");
        item("Version", h.modern ? "14.13" : "9.01");
        item("SchemaVersion", h.modern ? "4.83" : "4.20");
    } else {
        itemTime("UtcTime", m_clock);
        item("Configuration", expanded(h, R"(C:\Users\%U\Desktop\sysmonconfig-export.xml)"));
        const genlog::HashDigits digits = genlog::hashDigits(m_rng.next());
        item("ConfigurationFileHash", "SHA256=" + std::string(digits.data() + 72, 64));
    }
    end();
}

} // namespace kelvane

#pragma once

// Writes large, realistic Sysmon logs in the shape of a Windows XML export, for benchmarks and tests.
// Output is a pure function of the options: the same seed always gives the same bytes.

#include "SysmonLogText.h"
#include "SysmonLogVocabulary.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kelvane {

struct SysmonLogOptions {
    std::uint64_t events = 1000;
    std::uint64_t seed = 1;
    // An <Events> root under the XML declaration, as the event viewer saves; else one event a line.
    bool withRoot = true;
    // UTF-16LE with a byte order mark, as a redirected command-line export writes.
    bool utf16 = false;
    int computers = 1;
    // A busy machine where processes start processes: about three events in ten are process creations,
    // most lives are a few events short, and more than half of the new processes have a logged parent.
    bool processTree = false;
    // Sysmon 15 on every machine: every item of its schema, and the later event types (file deletions,
    // clipboard, tampering, executable blocking) in the shares they have in real logs.
    bool modern = false;
};

class SysmonLogGenerator {
public:
    using Sink = std::function<void(const char* data, std::size_t size)>;

    explicit SysmonLogGenerator(SysmonLogOptions options) : m_options(options) {
        if (m_options.computers < 1)
            m_options.computers = 1;
    }

    // Streams the whole log to sink in chunks of about a megabyte; returns the byte count.
    std::uint64_t write(const Sink& sink);
    std::string generate();
    // Throws std::runtime_error when the file cannot be written.
    std::uint64_t writeFile(const std::string& path);

private:
    struct Process {
        std::string guid, image, commandLine; // raw text: item() escapes
        std::uint32_t pid = 0;
        int exe = 0;
        int budget = -1; // events left before the process ends; negative for processes that outlive the log
    };
    struct Host {
        std::string name, netbios, user, sid, account, ip, linkLocal, guidPrefix, guidTail;
        std::string logonGuids[4];
        std::uint32_t logonId = 0, sysmonPid = 0, threads[3] = {}, guidCounter = 0;
        std::uint64_t recordId = 0;
        bool modern = true;
        genlog::HashForm hashForm = genlog::HashForm::All;
        std::vector<Process> procs;
        int pendingStarts = 0;
    };
    struct Queued {
        int id;
        int host;
    };

    void reset();
    void makeHost(int index);
    Process makeProcess(Host& h, int exe, std::int64_t startMs, bool lifelong = false);
    int drawSpawnExe();
    int drawType();
    void step();
    void flush(bool force);

    // Pieces of one event. Values pass through item(), which escapes them.
    void begin(Host& h, int id);
    void end();
    void item(std::string_view name, std::string_view value);
    void itemNumber(std::string_view name, std::uint64_t value);
    void itemTime(std::string_view name, std::int64_t ms);
    void ruleName(const Host& h);
    void userItem(const Host& h, genlog::Account account, std::string_view name = "User");
    void processItems(const Process& p);
    void expandInto(std::string& out, const Host& h, std::string_view tpl, std::uint32_t token);
    const std::string& expanded(const Host& h, std::string_view tpl);
    std::string linkLocalAddress();

    std::size_t pickIndex(Host& h);
    const Process& other(Host& h);
    void emit(Host& h, const Process* p, int id);
    void emitCreate(Host& h);
    void emitTerminate(Host& h, std::size_t index);
    void emitFile(Host& h, const Process& p, int id);
    void emitNetwork(Host& h, const Process& p);
    void emitImageLoad(Host& h, const Process& p);
    void emitRegistry(Host& h, const Process& p, int id);
    void emitAccess(Host& h, const Process& p, int id);
    void emitDns(Host& h, const Process& p);
    void emitPipe(Host& h, const Process& p, int id);
    void emitWmi(Host& h, int id);
    void emitSysmonState(Host& h, int id);
    void emitModern(Host& h, const Process& p, int id);

    SysmonLogOptions m_options;
    genlog::Rng m_rng;
    std::vector<Host> m_hosts;
    std::vector<std::string> m_publicIps;
    std::vector<genlog::HashDigits> m_dllHashes, m_driverHashes;
    std::deque<Queued> m_queue;
    std::vector<std::pair<std::uint64_t, int>> m_planted; // (position, id), ascending
    std::size_t m_nextPlanted = 0;
    std::int64_t m_clock = 0; // ms since 1970
    std::uint64_t m_written = 0, m_bytes = 0;
    std::uint32_t m_wmiToken = 0;
    std::string m_out, m_wide, m_scratch;
    const Sink* m_sink = nullptr;
};

namespace genlog {

// Sysmon's schema version of each event id's template.
inline constexpr int kSysmonEventVersion[30] = {0, 5, 4, 5, 3, 3, 3, 3, 2, 2, 3, 2, 2, 2, 2,
                                                2, 3, 1, 1, 3, 3, 3, 5, 5, 5, 5, 5, 5, 5, 5};

// Weights, about per 100,000 events, of the types a running process emits; a 19 brings its 20 and 21 along.
// Process creation and termination are not drawn: they follow from the lengths of the processes' lives.
inline constexpr std::pair<int, int> kTypeWeights[] = {
    {7, 31500}, {10, 12400}, {13, 12400}, {11, 10400}, {3, 8300}, {22, 6200},
    {12, 5200}, {18, 2100},  {17, 2100},  {2, 1000},   {15, 400}, {9, 300},
    {8, 250},   {14, 250},   {6, 150},    {19, 2},     {4, 1},    {16, 1}};
// What Sysmon 15 adds to them: file deletions are about one event in twenty of a real log; executable
// blocking, tampering and clipboard events are rare.
inline constexpr std::pair<int, int> kModernTypeWeights[] = {{26, 4200}, {23, 1100}, {25, 40}, {27, 25},
                                                             {29, 25},   {24, 10},   {28, 5}};

} // namespace genlog

inline std::uint64_t SysmonLogGenerator::write(const Sink& sink) {
    reset();
    m_sink = &sink;
    if (m_options.utf16)
        m_out.append("\xEF\xBB\xBF"); // becomes the byte order mark FF FE
    if (m_options.withRoot) {
        m_out.append(m_options.utf16 ? R"(<?xml version="1.0" encoding="UTF-16" standalone="yes"?>)"
                                     : R"(<?xml version="1.0" encoding="utf-8" standalone="yes"?>)");
        m_out.append("\r\n<Events>");
    }
    while (m_written < m_options.events) {
        step();
        flush(false);
    }
    if (m_options.withRoot)
        m_out.append("</Events>\r\n");
    flush(true);
    m_sink = nullptr;
    return m_bytes;
}

inline std::string SysmonLogGenerator::generate() {
    std::string all;
    write([&all](const char* data, std::size_t size) { all.append(data, size); });
    return all;
}

inline std::uint64_t SysmonLogGenerator::writeFile(const std::string& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file)
        throw std::runtime_error("cannot create " + path);
    const std::uint64_t bytes = write([&](const char* data, std::size_t size) {
        if (std::fwrite(data, 1, size, file.get()) != size)
            throw std::runtime_error("cannot write " + path);
    });
    if (std::fclose(file.release()) != 0)
        throw std::runtime_error("cannot write " + path);
    return bytes;
}

inline void SysmonLogGenerator::flush(bool force) {
    if (!force && m_out.size() < (1u << 20))
        return;
    const std::string* chunk = &m_out;
    if (m_options.utf16) {
        m_wide.clear();
        genlog::appendUtf16le(m_wide, m_out);
        chunk = &m_wide;
    }
    if (!chunk->empty())
        (*m_sink)(chunk->data(), chunk->size());
    m_bytes += chunk->size();
    m_out.clear();
}

inline void SysmonLogGenerator::reset() {
    m_rng = genlog::Rng(m_options.seed * 0x2545F4914F6CDD1Dull + 0x1234567);
    m_hosts.clear();
    m_queue.clear();
    m_planted.clear();
    m_out.clear();
    m_out.reserve((1u << 20) + 65536);
    m_nextPlanted = 0;
    m_written = 0;
    m_bytes = 0;
    // Some day in 2023, from the seed.
    m_clock = 1'672'531'200'000LL + static_cast<std::int64_t>(m_rng.below(300)) * 86'400'000LL +
              static_cast<std::int64_t>(m_rng.below(86'400'000));

    m_publicIps.clear();
    for (int i = 0; i < 1500; ++i) {
        std::string ip(genlog::kPublicPrefixes[m_rng.below(std::size(genlog::kPublicPrefixes))]);
        ip += std::to_string(m_rng.below(256)) + "." + std::to_string(m_rng.range(1, 254));
        m_publicIps.push_back(std::move(ip));
    }
    m_dllHashes.clear();
    m_driverHashes.clear();
    for (const auto& dll : genlog::kDlls)
        m_dllHashes.push_back(genlog::hashDigits(genlog::fnv1a(dll.path)));
    for (const auto& driver : genlog::kDrivers)
        m_driverHashes.push_back(genlog::hashDigits(genlog::fnv1a(driver.path)));

    for (int i = 0; i < m_options.computers; ++i)
        makeHost(i);

    // Every type shows up at least once in any log of a few hundred events, so that small logs still reach
    // every table: the service start and configuration events lead, the rest lie somewhere inside.
    const std::uint64_t n = m_options.events;
    if (n >= 200) {
        m_planted = {{0, 4}, {1, 16}};
        const auto span = static_cast<std::uint32_t>(std::min<std::uint64_t>(n - 5, 1u << 30));
        for (int id : {2, 6, 8, 9, 14, 15, 19})
            m_planted.emplace_back(2 + m_rng.below(span), id);
        std::sort(m_planted.begin(), m_planted.end());
    }
}

inline void SysmonLogGenerator::makeHost(int index) {
    Host h;
    auto token = [this](int length) {
        static constexpr char chars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        std::string s;
        for (int i = 0; i < length; ++i)
            s.push_back(chars[m_rng.below(36)]);
        return s;
    };
    if (index % 2 == 0) {
        h.netbios = "DESKTOP-" + token(7);
        h.name = h.netbios;
    } else {
        h.netbios = "WKS-" + std::to_string(1001 + index);
        h.name = h.netbios + ".corp.example.com";
    }
    // Older Sysmon versions write fewer items and empty rule names.
    h.modern = m_options.modern || index % 3 != 1;
    static constexpr genlog::HashForm forms[] = {genlog::HashForm::All,  genlog::HashForm::Md5Sha256Imphash,
                                                 genlog::HashForm::All,  genlog::HashForm::Sha256,
                                                 genlog::HashForm::Sha1, genlog::HashForm::Md5Imphash};
    h.hashForm = forms[index % std::size(forms)];
    h.user = genlog::kUserNames[index % std::size(genlog::kUserNames)];
    h.account = h.netbios + "\\" + h.user;
    h.sid = "S-1-5-21-" + std::to_string(m_rng.range(1'000'000'000, 4'000'000'000u)) + "-" +
            std::to_string(m_rng.range(1'000'000'000, 4'000'000'000u)) + "-" +
            std::to_string(m_rng.range(1'000'000'000, 4'000'000'000u)) + "-1001";
    h.ip = "10." + std::to_string(m_rng.below(4)) + "." + std::to_string(m_rng.below(8)) + "." +
           std::to_string(m_rng.range(20, 250));
    h.linkLocal = linkLocalAddress();
    genlog::appendHex(h.guidPrefix, m_rng.next(), 8);
    h.guidTail = "00000000";
    genlog::appendHex(h.guidTail, m_rng.below(0x10000), 4);
    h.recordId = m_rng.range(10'000, 5'000'000);
    h.sysmonPid = 4 * m_rng.range(300, 2000);
    for (auto& t : h.threads)
        t = 4 * m_rng.range(100, 3000);
    h.guidCounter = m_rng.below(0x8000);
    h.logonId = m_rng.range(0x20000, 0x7FFFFF);

    const std::int64_t boot = m_clock - static_cast<std::int64_t>(m_rng.range(600, 72 * 3600)) * 1000;
    const std::uint32_t bootSeconds = static_cast<std::uint32_t>(boot / 1000);
    const std::uint32_t ids[4] = {0x3E7, 0x3E5, 0x3E4, h.logonId};
    for (int i = 0; i < 4; ++i) {
        std::string tail;
        genlog::appendHex(tail, ids[i] >> 16, 4);
        tail += "00000000";
        const std::uint32_t swapped = ((ids[i] & 0xFF) << 8) | ((ids[i] >> 8) & 0xFF);
        genlog::appendSysmonGuid(h.logonGuids[i], h.guidPrefix, bootSeconds, swapped, tail);
    }

    for (int exe = 0; exe < genlog::kInitialExes; ++exe)
        h.procs.push_back(makeProcess(h, exe, boot, true));
    while (h.procs.size() < 36)
        h.procs.push_back(makeProcess(h, drawSpawnExe(), boot + m_rng.below(600'000)));
    m_hosts.push_back(std::move(h));
}

inline SysmonLogGenerator::Process SysmonLogGenerator::makeProcess(Host& h, int exe, std::int64_t startMs,
                                                                   bool lifelong) {
    const genlog::ExeEntry& e = genlog::kExes[exe];
    Process p;
    p.exe = exe;
    const auto token = static_cast<std::uint32_t>(m_rng.next());
    expandInto(p.image, h, e.path, token);
    expandInto(p.commandLine, h, e.commandLine, token);
    p.pid = exe == 4 ? 700 : 4 * m_rng.range(100, 6000);
    genlog::appendSysmonGuid(p.guid, h.guidPrefix, static_cast<std::uint32_t>(startMs / 1000),
                             ++h.guidCounter, h.guidTail);
    if (!lifelong && m_options.processTree) {
        p.budget = static_cast<int>(m_rng.below(3));
    } else if (!lifelong) {
        // Mostly short lives, a few longer ones: about 25 events on average.
        const std::uint32_t r = m_rng.below(100);
        p.budget = static_cast<int>(r < 55   ? m_rng.range(2, 12)
                                    : r < 90 ? m_rng.range(15, 40)
                                             : m_rng.range(60, 150));
    }
    return p;
}

inline int SysmonLogGenerator::drawSpawnExe() {
    int total = 0;
    for (const auto& e : genlog::kExes)
        total += e.spawnWeight;
    int r = static_cast<int>(m_rng.below(static_cast<std::uint32_t>(total)));
    for (int i = 0; i < static_cast<int>(std::size(genlog::kExes)); ++i)
        if ((r -= genlog::kExes[i].spawnWeight) < 0)
            return i;
    return 0;
}

inline int SysmonLogGenerator::drawType() {
    static constexpr auto sum = [](const auto& weights) {
        int total = 0;
        for (const auto& [id, weight] : weights)
            total += weight;
        return total;
    };
    static constexpr int total = sum(genlog::kTypeWeights);
    static constexpr int modernTotal = sum(genlog::kModernTypeWeights);
    int r = static_cast<int>(m_rng.below(m_options.modern ? total + modernTotal : total));
    for (const auto& [id, weight] : genlog::kTypeWeights)
        if ((r -= weight) < 0)
            return id;
    for (const auto& [id, weight] : genlog::kModernTypeWeights)
        if ((r -= weight) < 0)
            return id;
    return 7;
}

inline void SysmonLogGenerator::step() {
    while (m_nextPlanted < m_planted.size() && m_planted[m_nextPlanted].first <= m_written) {
        m_queue.push_back({m_planted[m_nextPlanted].second, static_cast<int>(m_rng.below(m_hosts.size()))});
        ++m_nextPlanted;
    }
    if (!m_queue.empty()) {
        const Queued next = m_queue.front();
        m_queue.pop_front();
        emit(m_hosts[next.host], nullptr, next.id);
        return;
    }
    Host& h = m_hosts[m_rng.below(static_cast<std::uint32_t>(m_hosts.size()))];
    if (h.pendingStarts > 0 || (m_options.processTree && m_rng.percent(9))) {
        if (h.pendingStarts > 0)
            --h.pendingStarts;
        emitCreate(h);
        return;
    }
    const std::size_t index = pickIndex(h);
    Process& p = h.procs[index];
    if (p.budget == 0) {
        emitTerminate(h, index);
        return;
    }
    if (p.budget > 0)
        --p.budget;
    emit(h, &p, drawType());
}

inline std::size_t SysmonLogGenerator::pickIndex(Host& h) {
    // A quarter of the activity comes from the few processes that run all the time.
    if (m_rng.percent(25))
        return m_rng.below(genlog::kHotExes);
    return genlog::kHotExes + m_rng.below(static_cast<std::uint32_t>(h.procs.size() - genlog::kHotExes));
}

inline const SysmonLogGenerator::Process& SysmonLogGenerator::other(Host& h) {
    return m_rng.percent(35) ? h.procs[5] : h.procs[pickIndex(h)]; // lsass is the usual target
}

inline void SysmonLogGenerator::begin(Host& h, int id) {
    using namespace std::string_view_literals;
    m_out.append(
        "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider "
        "Name='Microsoft-Windows-Sysmon' Guid='{5770385F-C22A-43E0-BF4C-06F5698FFBD9}'/><EventID>"sv);
    genlog::appendUInt(m_out, static_cast<std::uint64_t>(id));
    m_out.append("</EventID><Version>"sv);
    genlog::appendUInt(m_out, static_cast<std::uint64_t>(genlog::kSysmonEventVersion[id]));
    m_out.append("</Version><Level>4</Level><Task>"sv);
    genlog::appendUInt(m_out, static_cast<std::uint64_t>(id));
    m_out.append(
        "</Task><Opcode>0</Opcode><Keywords>0x8000000000000000</Keywords><TimeCreated SystemTime='"sv);
    genlog::appendTime(m_out, m_clock, 'T');
    genlog::appendPadded(m_out, static_cast<int>(m_rng.below(10000)), 4);
    m_out.append("00Z'/><EventRecordID>"sv);
    genlog::appendUInt(m_out, ++h.recordId);
    m_out.append("</EventRecordID><Correlation/><Execution ProcessID='"sv);
    genlog::appendUInt(m_out, h.sysmonPid);
    m_out.append("' ThreadID='"sv);
    genlog::appendUInt(m_out, h.threads[m_rng.below(3)]);
    m_out.append("'/><Channel>Microsoft-Windows-Sysmon/Operational</Channel><Computer>"sv);
    m_out.append(h.name);
    m_out.append("</Computer><Security UserID='"sv);
    m_out.append(id == 16 ? std::string_view(h.sid) : "S-1-5-18"sv);
    m_out.append("'/></System><EventData>"sv);
}

inline void SysmonLogGenerator::end() {
    m_out.append(m_options.withRoot ? "</EventData></Event>" : "</EventData></Event>\r\n");
    ++m_written;
    // Bursts of events in the same few milliseconds, and now and then a quiet second or two.
    const std::uint32_t r = m_rng.below(100);
    m_clock += r < 70 ? m_rng.below(6) : r < 95 ? m_rng.range(5, 60) : m_rng.range(60, 2000);
}

inline void SysmonLogGenerator::item(std::string_view name, std::string_view value) {
    m_out.append("<Data Name='").append(name).append("'>");
    genlog::appendEscaped(m_out, value);
    m_out.append("</Data>");
}

inline void SysmonLogGenerator::itemNumber(std::string_view name, std::uint64_t value) {
    m_out.append("<Data Name='").append(name).append("'>");
    genlog::appendUInt(m_out, value);
    m_out.append("</Data>");
}

inline void SysmonLogGenerator::itemTime(std::string_view name, std::int64_t ms) {
    m_out.append("<Data Name='").append(name).append("'>");
    genlog::appendTime(m_out, ms);
    m_out.append("</Data>");
}

inline void SysmonLogGenerator::ruleName(const Host& h) {
    if (m_rng.percent(3))
        item("RuleName", genlog::kRuleNames[m_rng.below(std::size(genlog::kRuleNames))]);
    else
        item("RuleName", h.modern ? "-" : "");
}

inline void SysmonLogGenerator::userItem(const Host& h, genlog::Account account, std::string_view name) {
    switch (account) {
    case genlog::Account::System:
        return item(name, "NT AUTHORITY\\SYSTEM");
    case genlog::Account::LocalService:
        return item(name, "NT AUTHORITY\\LOCAL SERVICE");
    case genlog::Account::NetworkService:
        return item(name, "NT AUTHORITY\\NETWORK SERVICE");
    case genlog::Account::User:
        return item(name, h.account);
    }
}

inline void SysmonLogGenerator::processItems(const Process& p) {
    item("ProcessGuid", p.guid);
    itemNumber("ProcessId", p.pid);
    item("Image", p.image);
}

inline void SysmonLogGenerator::expandInto(std::string& out, const Host& h, std::string_view tpl,
                                           std::uint32_t token) {
    for (std::size_t i = 0; i < tpl.size(); ++i) {
        if (tpl[i] != '%' || i + 1 == tpl.size()) {
            out.push_back(tpl[i]);
            continue;
        }
        switch (tpl[++i]) {
        case 'U':
            out.append(h.user);
            break;
        case 'S':
            out.append(h.sid);
            break;
        case 'C':
            out.append(h.netbios);
            break;
        case 'R':
            genlog::appendHex(out, token, 8);
            break;
        case 'N':
            genlog::appendUInt(out, m_rng.range(1, 99999));
            break;
        case 'G':
            for (int width : {8, 4, 4, 4}) {
                genlog::appendHex(out, m_rng.next(), width);
                out.push_back('-');
            }
            genlog::appendHex(out, m_rng.next(), 12);
            break;
        default:
            out.push_back('%');
            out.push_back(tpl[i]);
        }
    }
}

inline const std::string& SysmonLogGenerator::expanded(const Host& h, std::string_view tpl) {
    m_scratch.clear();
    expandInto(m_scratch, h, tpl, static_cast<std::uint32_t>(m_rng.next()));
    return m_scratch;
}

inline std::string SysmonLogGenerator::linkLocalAddress() {
    std::string address = "fe80:0:0:0";
    for (int i = 0; i < 4; ++i) {
        address.push_back(':');
        genlog::appendHex(address, m_rng.below(0x10000), 4, false);
    }
    return address;
}

} // namespace kelvane

#include "SysmonLogGeneratorEvents.h"

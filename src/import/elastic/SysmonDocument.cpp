#include "import/elastic/SysmonDocument.h"

#include "import/elastic/FlatDocument.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <vector>

namespace kelvane {
namespace {

enum class Conversion {
    Plain,
    Time,
    RuleName,
    User,
    ProcessHashes,
    FileHashes,
    Direction,
    Ipv6,
    PortName,
    Renamed,
    DnsStatus,
    Arguments,
    DnsAnswers
};

// Where the Sysmon module and the ingest pipelines put an item. An empty list of events means all.
struct EcsHome {
    const char* item;
    std::initializer_list<int> events;
    const char* path;
    Conversion conversion = Conversion::Plain;
};

// Events whose process is the one that acted (process.* holds its image and ids).
#define ACTING_PROCESS 1, 2, 3, 5, 7, 9, 11, 12, 13, 14, 15, 17, 18, 22

const EcsHome kHomes[] = {
    {"UtcTime", {}, "@timestamp", Conversion::Time},
    {"RuleName", {}, "rule.name", Conversion::RuleName},
    {"ProcessGuid", {ACTING_PROCESS}, "process.entity_id"},
    {"ProcessId", {ACTING_PROCESS}, "process.pid"},
    {"Image", {ACTING_PROCESS}, "process.executable"},
    {"CommandLine", {1}, "process.command_line"},
    // Some versions of the module keep only the split arguments.
    {"CommandLine", {1}, "process.args", Conversion::Arguments},
    {"CurrentDirectory", {1}, "process.working_directory"},
    {"ParentProcessGuid", {1}, "process.parent.entity_id"},
    {"ParentProcessId", {1}, "process.parent.pid"},
    {"ParentImage", {1}, "process.parent.executable"},
    {"ParentCommandLine", {1}, "process.parent.command_line"},
    {"ParentCommandLine", {1}, "process.parent.args", Conversion::Arguments},
    {"OriginalFileName", {1}, "process.pe.original_file_name"},
    {"OriginalFileName", {7}, "file.pe.original_file_name"},
    {"FileVersion", {1}, "process.pe.file_version"},
    {"Description", {1}, "process.pe.description"},
    {"Product", {1}, "process.pe.product"},
    {"Company", {1}, "process.pe.company"},
    {"FileVersion", {7}, "file.pe.file_version"},
    {"Description", {7}, "file.pe.description"},
    {"Product", {7}, "file.pe.product"},
    {"Company", {7}, "file.pe.company"},
    {"User", {}, "user.name", Conversion::User},
    {"Hashes", {1}, "process.hash", Conversion::ProcessHashes},
    {"Hashes", {6, 7}, "file.hash", Conversion::FileHashes},
    {"Hash", {15}, "file.hash", Conversion::FileHashes},
    {"TargetFilename", {2, 11, 15}, "file.path"},
    {"Protocol", {3}, "network.transport"},
    {"Initiated", {3}, "network.direction", Conversion::Direction},
    {"SourceIsIpv6", {3}, "SourceIp", Conversion::Ipv6},
    {"DestinationIsIpv6", {3}, "DestinationIp", Conversion::Ipv6},
    {"SourceIp", {3}, "source.ip"},
    {"SourceHostname", {3}, "source.domain"},
    {"SourcePort", {3}, "source.port"},
    {"DestinationIp", {3}, "destination.ip"},
    {"DestinationHostname", {3}, "destination.domain"},
    {"DestinationPort", {3}, "destination.port"},
    {"DestinationPortName", {3}, "network.protocol", Conversion::PortName},
    {"ImageLoaded", {6, 7}, "file.path"},
    {"Signed", {6, 7}, "file.code_signature.signed"},
    {"Signature", {6, 7}, "file.code_signature.subject_name"},
    {"SignatureStatus", {6, 7}, "file.code_signature.status"},
    {"SourceProcessGuid", {8}, "process.entity_id"},
    {"SourceProcessGUID", {10}, "process.entity_id"},
    {"SourceProcessId", {8, 10}, "process.pid"},
    {"SourceImage", {8, 10}, "process.executable"},
    {"SourceThreadId", {10}, "process.thread.id"},
    {"TargetProcessGuid", {8}, "TargetProcessGUID", Conversion::Renamed},
    {"TargetObject", {12, 13, 14}, "registry.path"},
    {"Device", {9}, "file.path"},
    {"PipeName", {17, 18}, "file.name"},
    {"Destination", {20}, "process.executable"},
    {"QueryName", {22}, "dns.question.name"},
    {"QueryStatus", {22}, "sysmon.dns.status", Conversion::DnsStatus},
    {"QueryResults", {22}, "dns.answers", Conversion::DnsAnswers},
};

#undef ACTING_PROCESS

bool appliesTo(const EcsHome& home, int eventId) {
    return home.events.size() == 0 ||
           std::find(home.events.begin(), home.events.end(), eventId) != home.events.end();
}

constexpr std::string_view kSixData = "event_data.";
constexpr std::string_view kWinlogData = "winlog.event_data.";

// Sysmon's "SHA1=..,MD5=..,SHA256=..,IMPHASH=.." in its own order and case, from the split fields. The
// module of winlogbeat 7 puts them at the top level (hash.sha1), the pipelines under the process or file.
bool rebuildHashes(const FlatDocument& flat, std::string_view base, std::string& out) {
    out.clear();
    const std::string prefix(base);
    const struct {
        const char* name;
        std::string path;
        const char* topLevel;
    } parts[] = {
        {"SHA1", prefix + ".hash.sha1", "hash.sha1"},
        {"MD5", prefix + ".hash.md5", "hash.md5"},
        {"SHA256", prefix + ".hash.sha256", "hash.sha256"},
        {"IMPHASH", prefix + ".pe.imphash", "hash.imphash"},
    };
    for (const auto& [name, path, topLevel] : parts) {
        const std::string* value = flat.find(path);
        if (!value || value->empty())
            value = flat.find(topLevel);
        if (!value || value->empty())
            continue;
        if (!out.empty())
            out += ',';
        out += name;
        out += '=';
        const size_t start = out.size();
        out += *value;
        std::for_each(out.begin() + static_cast<std::ptrdiff_t>(start), out.end(), [](char& c) {
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
        });
    }
    return !out.empty();
}

// A command line from its split arguments, quoted so that Windows splits it into the same ones.
void joinArguments(const std::vector<std::string>& arguments, std::string& out) {
    out.clear();
    for (const std::string& argument : arguments) {
        if (!out.empty())
            out += ' ';
        if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string::npos) {
            out += argument;
            continue;
        }
        out += '"';
        size_t backslashes = 0;
        for (const char c : argument) {
            if (c == '\\') {
                ++backslashes;
                continue;
            }
            // Backslashes count only before a quote: there they are doubled, and the quote escaped.
            out.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
            backslashes = 0;
            out += c;
        }
        out.append(backslashes * 2, '\\');
        out += '"';
    }
}

// Sysmon's "type:  5 name;::ffff:1.2.3.4;" from the answers the pipelines parsed out of it.
bool rebuildDnsResults(std::string_view answers, std::string& out) {
    out.clear();
    thread_local simdjson::dom::parser parser;
    simdjson::dom::array records;
    if (parser.parse(answers.data(), answers.size()).get(records) != simdjson::SUCCESS)
        return false;
    static const std::pair<std::string_view, const char*> kTypes[] = {
        {"CNAME", "5"}, {"PTR", "12"}, {"MX", "15"}, {"TXT", "16"}, {"SRV", "33"}, {"NS", "2"}, {"SOA", "6"}};
    for (auto record : records) {
        std::string_view type, data;
        if (record["type"].get(type) != simdjson::SUCCESS || record["data"].get(data) != simdjson::SUCCESS)
            continue;
        if (type == "A") {
            out += "::ffff:";
        } else if (type != "AAAA") {
            out += "type:  ";
            const auto known = std::find_if(std::begin(kTypes), std::end(kTypes),
                                            [&](const auto& entry) { return entry.first == type; });
            out += known != std::end(kTypes) ? std::string_view(known->second) : type;
            out += ' ';
        }
        out += data;
        out += ';';
    }
    return !out.empty();
}

const char* dnsStatusCode(std::string_view name) {
    static const std::pair<const char*, const char*> kNames[] = {
        {"SUCCESS", "0"},
        {"DNS_ERROR_RCODE_NAME_ERROR", "9003"},
        {"DNS_INFO_NO_RECORDS", "9501"},
        {"ERROR_TIMEOUT", "1460"},
    };
    for (const auto& [text, code] : kNames)
        if (name == text)
            return code;
    return nullptr;
}

} // namespace

std::string SysmonDocument::sysmonTime(std::string_view timestamp) {
    // 2021-03-04T10:15:30.452Z, with 0 to 9 fraction digits.
    if (timestamp.size() < 19 || timestamp[10] != 'T')
        return std::string(timestamp);
    std::string out(timestamp.substr(0, 19));
    out[10] = ' ';
    std::string_view rest = timestamp.substr(19);
    std::string fraction;
    if (!rest.empty() && rest.front() == '.') {
        rest.remove_prefix(1);
        while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
            fraction += rest.front();
            rest.remove_prefix(1);
        }
    }
    if (rest != "Z" && rest != "+00:00")
        return std::string(timestamp);
    fraction.resize(3, '0');
    out += '.';
    out += fraction;
    return out;
}

void SysmonDocument::read(const FlatDocument& flat, int eventId) {
    items.clear();
    winlogLayout = false;
    bool hasComputer = false;
    hasUtcTime = false;
    computer.clear();
    utcTime.clear();
    for (size_t i = 0; i < flat.size(); ++i) {
        const std::string_view path = flat.at(i).first;
        if (path.substr(0, 7) == "winlog.") {
            winlogLayout = true;
            break;
        }
    }
    const std::string_view dataPrefix = winlogLayout ? kWinlogData : kSixData;
    const std::string_view computerPath = winlogLayout ? "winlog.computer_name" : "computer_name";
    for (size_t i = 0; i < flat.size(); ++i) {
        const auto& [path, value] = flat.at(i);
        if (path.size() > dataPrefix.size() &&
            std::string_view(path).substr(0, dataPrefix.size()) == dataPrefix)
            items.add(std::string_view(path).substr(dataPrefix.size()), value);
        else if (!hasComputer && path == computerPath) {
            hasComputer = true;
            computer = value;
        } else if (!hasUtcTime && path == "UtcTime") {
            hasUtcTime = true;
            utcTime = value;
        }
    }
    if (winlogLayout)
        readEcs(flat, eventId);
}

void SysmonDocument::readEcs(const FlatDocument& flat, int eventId) {
    for (const EcsHome& home : kHomes) {
        if (!appliesTo(home, eventId) || items.contains(home.item))
            continue;
        const std::string* value = nullptr;
        m_scratch.clear();
        switch (home.conversion) {
        case Conversion::Plain:
            value = flat.find(home.path);
            break;
        case Conversion::Time:
            if (const std::string* stamp = flat.find(home.path)) {
                m_scratch = sysmonTime(*stamp);
                value = &m_scratch;
            }
            break;
        case Conversion::RuleName:
            // The pipelines drop a rule name of "-", which is what Sysmon writes when no rule has one.
            value = flat.find(home.path);
            if (!value) {
                m_scratch = "-";
                value = &m_scratch;
            }
            break;
        case Conversion::User: {
            const std::string* name = flat.find("user.name");
            const std::string* domain = flat.find("user.domain");
            if (name) {
                if (domain && !domain->empty())
                    m_scratch = *domain + '\\';
                m_scratch += *name;
                value = &m_scratch;
            }
            break;
        }
        case Conversion::ProcessHashes:
            if (rebuildHashes(flat, "process", m_scratch))
                value = &m_scratch;
            break;
        case Conversion::FileHashes:
            if (rebuildHashes(flat, "file", m_scratch))
                value = &m_scratch;
            break;
        case Conversion::Arguments:
            if (const std::vector<std::string>* arguments = flat.elements(home.path)) {
                joinArguments(*arguments, m_scratch);
                value = &m_scratch;
            } else if (const std::string* single = flat.find(home.path)) {
                // One argument may come as a plain string.
                joinArguments({*single}, m_scratch);
                value = &m_scratch;
            }
            break;
        case Conversion::DnsAnswers:
            if (const std::string* answers = flat.find(home.path);
                answers && rebuildDnsResults(*answers, m_scratch))
                value = &m_scratch;
            break;
        case Conversion::Direction:
            if (const std::string* direction = flat.find(home.path)) {
                if (*direction == "egress" || *direction == "outbound")
                    m_scratch = "true";
                else if (*direction == "ingress" || *direction == "inbound")
                    m_scratch = "false";
                else
                    m_scratch = *direction;
                value = &m_scratch;
            }
            break;
        case Conversion::Ipv6:
            if (const std::string* type = flat.find("network.type")) {
                m_scratch = *type == "ipv6" ? "true" : "false";
                value = &m_scratch;
            } else if (const std::string* address = items.find(home.path)) {
                m_scratch = address->find(':') != std::string::npos ? "true" : "false";
                value = &m_scratch;
            }
            break;
        case Conversion::PortName: {
            // network.protocol holds the destination's port name, or the source's when there is none.
            // When it equals the source's name it is the source's, unless both ports are one.
            value = flat.find(home.path);
            const std::string* sourceName = items.find("SourcePortName");
            const std::string* sourcePort = items.find("SourcePort");
            const std::string* destinationPort = items.find("DestinationPort");
            const bool samePort = sourcePort && destinationPort && *sourcePort == *destinationPort;
            if (value && sourceName && *sourceName == *value && !samePort)
                value = nullptr;
            break;
        }
        case Conversion::Renamed:
            value = items.find(home.path);
            if (value) {
                m_scratch = *value;
                value = &m_scratch;
            }
            break;
        case Conversion::DnsStatus:
            if (const std::string* status = flat.find(home.path)) {
                const char* code = dnsStatusCode(*status);
                m_scratch = code ? code : *status;
                value = &m_scratch;
            }
            break;
        }
        if (value)
            items.add(home.item, *value);
    }
}

const std::string* ElasticResultColumns::column(std::string_view name) const {
    return name == "UtcTime" && m_document->hasUtcTime ? &m_document->utcTime : nullptr;
}

} // namespace kelvane

#include "store/ProcessTreeIndex.h"

#include "store/TMainDataModule.h"

#include <QHash>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_map>

namespace kelvane {

namespace {

// Lower case for searching: bytes for ASCII texts, which are nearly all; Qt's rules for the rest.
void appendFolded(std::string& out, std::string_view utf8) {
    const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return (c & 0x80) == 0; });
    if (ascii) {
        for (const char c : utf8)
            out.push_back(c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
        return;
    }
    const QByteArray folded =
        QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size())).toLower().toUtf8();
    out.append(folded.constData(), static_cast<size_t>(folded.size()));
}

std::string_view viewOf(const QByteArray& bytes) {
    return {bytes.constData(), static_cast<size_t>(bytes.size())};
}

// Users, integrity levels and computers repeat across every process: one shared copy of each.
class Names {
public:
    QString intern(std::string_view utf8) {
        const QByteArray key = QByteArray::fromRawData(utf8.data(), static_cast<qsizetype>(utf8.size()));
        const auto found = m_names.constFind(key);
        if (found != m_names.constEnd())
            return found.value();
        const QString name = QString::fromUtf8(key);
        m_names.insert(QByteArray(utf8.data(), static_cast<qsizetype>(utf8.size())), name);
        return name;
    }

private:
    QHash<QByteArray, QString> m_names;
};

QByteArray bytesOf(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

ProcessTreeIndex::ProcessTreeIndex(ProcessHierarchy tree, std::vector<ProcessFacts> facts)
    : m_tree(std::move(tree)), m_facts(std::move(facts)) {
    m_facts.resize(static_cast<size_t>(m_tree.size()));
    index();
}

void ProcessTreeIndex::index() {
    const int n = m_tree.size();
    m_childStart.assign(static_cast<size_t>(n) + 1, 0);
    for (int i = 0; i < n; ++i)
        if (m_tree.node(i).parent >= 0)
            ++m_childStart[static_cast<size_t>(m_tree.node(i).parent) + 1];
    for (int i = 0; i < n; ++i)
        m_childStart[static_cast<size_t>(i) + 1] += m_childStart[static_cast<size_t>(i)];
    m_children.assign(static_cast<size_t>(m_childStart[static_cast<size_t>(n)]), 0);
    std::vector<int> fill(m_childStart.begin(), m_childStart.end() - 1);
    // Nodes are numbered parents first, so every parent's depth is known before its children's.
    m_depth.assign(static_cast<size_t>(n), 0);
    m_maxDepth = 0;
    for (int i = 0; i < n; ++i) {
        const int parent = m_tree.node(i).parent;
        if (parent < 0)
            continue;
        m_children[static_cast<size_t>(fill[static_cast<size_t>(parent)]++)] = i;
        m_depth[static_cast<size_t>(i)] = m_depth[static_cast<size_t>(parent)] + 1;
        m_maxDepth = std::max(m_maxDepth, m_depth[static_cast<size_t>(i)]);
    }

    m_order.clear();
    m_order.reserve(static_cast<size_t>(n));
    std::vector<int> pending;
    for (int i = n - 1; i >= 0; --i)
        if (m_tree.node(i).parent < 0)
            pending.push_back(i);
    while (!pending.empty()) {
        const int next = pending.back();
        pending.pop_back();
        m_order.push_back(next);
        const auto kids = children(next);
        for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid)
            pending.push_back(*kid);
    }
    m_position.assign(static_cast<size_t>(n), 0);
    for (int k = 0; k < n; ++k)
        m_position[static_cast<size_t>(m_order[static_cast<size_t>(k)])] = k;
    // A subtree is a run of the order: it ends where the last child's subtree ends.
    m_subtreeEnd.assign(static_cast<size_t>(n), 0);
    for (int k = n - 1; k >= 0; --k) {
        const int node = m_order[static_cast<size_t>(k)];
        const auto kids = children(node);
        m_subtreeEnd[static_cast<size_t>(node)] =
            kids.empty() ? k + 1 : m_subtreeEnd[static_cast<size_t>(kids.back())];
    }

    m_text.clear();
    m_textStart.clear();
    m_textStart.reserve(static_cast<size_t>(n) + 1);
    for (const int node : m_order) {
        m_textStart.push_back(static_cast<quint32>(m_text.size()));
        const ProcessHierarchy::Node& info = m_tree.node(node);
        const ProcessFacts& facts = m_facts[static_cast<size_t>(node)];
        // Fields apart by a line break, which no typed term holds, so that no match spans two.
        appendFolded(m_text, viewOf(info.exeName.toUtf8()));
        m_text.push_back('\n');
        appendFolded(m_text, viewOf(facts.commandLine));
        m_text.push_back('\n');
        if (facts.processId >= 0)
            m_text += std::to_string(facts.processId);
        m_text.push_back('\n');
        appendFolded(m_text, viewOf(info.guid));
        m_text.push_back('\n');
        appendFolded(m_text, viewOf(facts.user.toUtf8()));
        m_text.push_back('\0');
    }
    m_textStart.push_back(static_cast<quint32>(m_text.size()));
    m_text.shrink_to_fit();
}

std::span<const int> ProcessTreeIndex::children(int index) const {
    const auto begin = static_cast<size_t>(m_childStart[static_cast<size_t>(index)]);
    const auto end = static_cast<size_t>(m_childStart[static_cast<size_t>(index) + 1]);
    return {m_children.data() + begin, end - begin};
}

std::vector<int> ProcessTreeIndex::find(const QString& term, const std::vector<char>* within) const {
    std::vector<int> found;
    std::string needle;
    appendFolded(needle, viewOf(term.toUtf8()));
    if (needle.empty() || needle.find('\n') != std::string::npos || needle.find('\0') != std::string::npos)
        return found;
    const char* const text = m_text.data();
    const size_t length = m_text.size();
    size_t from = 0;
    while (from < length) {
        const void* hit = memmem(text + from, length - from, needle.data(), needle.size());
        if (!hit)
            break;
        const auto at = static_cast<quint32>(static_cast<const char*>(hit) - text);
        // The node whose text holds the hit; its other hits add nothing.
        const auto next = std::upper_bound(m_textStart.begin(), m_textStart.end(), at);
        const auto k = static_cast<size_t>(next - m_textStart.begin()) - 1;
        const int node = m_order[k];
        if (!within || (*within)[static_cast<size_t>(node)])
            found.push_back(node);
        from = *next;
    }
    return found;
}

std::vector<int> ProcessTreeIndex::nodesOfGuid(const QString& guid) const {
    const QByteArray wanted = guid.trimmed().toUtf8();
    std::vector<int> exact;
    std::vector<int> caseAside;
    if (wanted.isEmpty())
        return exact;
    for (int i = 0; i < size(); ++i) {
        const ProcessHierarchy::Node& node = m_tree.node(i);
        if (node.kind != ProcessHierarchy::Kind::Process && node.kind != ProcessHierarchy::Kind::TopLevel)
            continue;
        if (node.guid == wanted)
            exact.push_back(i);
        else if (node.guid.compare(wanted, Qt::CaseInsensitive) == 0)
            caseAside.push_back(i);
    }
    return exact.empty() ? caseAside : exact;
}

std::vector<char> ProcessTreeIndex::family(const std::vector<int>& nodes) const {
    std::vector<char> keep(static_cast<size_t>(size()), 0);
    for (const int node : nodes) {
        for (int up = node; up >= 0 && !keep[static_cast<size_t>(up)]; up = parent(up))
            keep[static_cast<size_t>(up)] = 1;
        for (int k = position(node); k < m_subtreeEnd[static_cast<size_t>(node)]; ++k)
            keep[static_cast<size_t>(m_order[static_cast<size_t>(k)])] = 1;
    }
    return keep;
}

std::vector<char> ProcessTreeIndex::unfoldedAbove(int depth) const {
    std::vector<char> unfolded(static_cast<size_t>(size()));
    for (int i = 0; i < size(); ++i)
        unfolded[static_cast<size_t>(i)] = depth < 0 || m_depth[static_cast<size_t>(i)] < depth;
    return unfolded;
}

ProcessTreeIndex ProcessTreeIndex::byComputer() const {
    std::vector<int> origin;
    ProcessHierarchy split = m_tree.byComputer([this](int node) { return facts(node).computer; }, &origin);
    std::vector<ProcessFacts> carried(origin.size());
    for (size_t i = 0; i < origin.size(); ++i) {
        if (origin[i] >= 0)
            carried[i] = m_facts[static_cast<size_t>(origin[i])];
        else
            carried[i].computer = split.node(static_cast<int>(i)).exeName;
    }
    return ProcessTreeIndex(std::move(split), std::move(carried));
}

ProcessTreeIndex ProcessTreeIndex::focused(const std::vector<int>& nodes) const {
    std::vector<int> origin;
    ProcessHierarchy part = m_tree.subset(family(nodes), &origin);
    std::vector<ProcessFacts> carried;
    carried.reserve(origin.size());
    for (const int was : origin)
        carried.push_back(m_facts[static_cast<size_t>(was)]);
    return ProcessTreeIndex(std::move(part), std::move(carried));
}

std::vector<ProcessFacts> ProcessTreeIndex::readFacts(TMainDataModule& data, const ProcessHierarchy& tree) {
    const int n = tree.size();
    std::vector<ProcessFacts> facts(static_cast<size_t>(n));
    std::unordered_map<qint32, int> byFid;
    std::unordered_map<std::string_view, int> byGuid;
    byFid.reserve(static_cast<size_t>(n));
    byGuid.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const ProcessHierarchy::Node& node = tree.node(i);
        if (node.kind != ProcessHierarchy::Kind::Process)
            continue;
        byFid.emplace(node.fid, i);
        byGuid.emplace(viewOf(node.guid), i);
    }
    if (byFid.empty())
        return facts;

    sql::Database& db = data.connection();
    Names names;
    sql::Statement creations = db.prepare(
        "SELECT FID, ProcessId, User, IntegrityLevel, UtcTime, CommandLine, Computer FROM ProcessCreate");
    while (creations.step()) {
        const auto found = byFid.find(static_cast<qint32>(creations.columnInt64(0)));
        if (found == byFid.end())
            continue;
        ProcessFacts& f = facts[static_cast<size_t>(found->second)];
        f.processId = creations.isNull(1) ? -1 : creations.columnInt64(1);
        f.user = names.intern(creations.columnText(2));
        f.integrityLevel = names.intern(creations.columnText(3));
        f.startTime = bytesOf(creations.columnText(4));
        f.commandLine = bytesOf(creations.columnText(5));
        f.computer = names.intern(creations.columnText(6));
    }
    sql::Statement ends = db.prepare("SELECT ProcessGuid, UtcTime FROM ProcessTerminated");
    while (ends.step()) {
        const auto found = byGuid.find(ends.columnText(0));
        if (found == byGuid.end())
            continue;
        QByteArray& end = facts[static_cast<size_t>(found->second)].endTime;
        const std::string_view time = ends.columnText(1);
        if (end.isEmpty() || viewOf(end) > time)
            end = bytesOf(time);
    }
    // A top level process was never logged itself: its machine is that of the children it started.
    for (int i = 1; i < n; ++i) {
        const int parent = tree.node(i).parent;
        if (parent > 0 && tree.node(parent).kind == ProcessHierarchy::Kind::TopLevel &&
            facts[static_cast<size_t>(parent)].computer.isEmpty())
            facts[static_cast<size_t>(parent)].computer = facts[static_cast<size_t>(i)].computer;
    }
    return facts;
}

} // namespace kelvane

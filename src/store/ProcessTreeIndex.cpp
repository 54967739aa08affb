#include "store/ProcessTreeIndex.h"

#include "store/NamePool.h"

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

QByteArray bytesOf(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

struct ProcessTreeIndex::Base {
    std::vector<ProcessFacts> facts;
    // The searched texts of all nodes in the drawing's order, case folded, each node's ended by a zero
    // byte; node order[k] starts at textStart[k]. One buffer scanned with memmem answers a keystroke
    // over a few hundred thousand processes in milliseconds.
    std::string text;
    std::vector<quint32> textStart;
    std::vector<int> order;
};

ProcessTreeIndex::ProcessTreeIndex(ProcessHierarchy tree, std::vector<ProcessFacts> facts)
    : m_tree(std::move(tree)) {
    auto base = std::make_shared<Base>();
    base->facts = std::move(facts);
    base->facts.resize(static_cast<size_t>(m_tree.size()));
    m_base = base;
    index();
    base->order = m_order;
    buildText(*base);
}

ProcessTreeIndex::ProcessTreeIndex(ProcessHierarchy tree, std::shared_ptr<const Base> base,
                                   std::vector<int> baseNode, std::unordered_map<int, ProcessFacts> ownFacts)
    : m_tree(std::move(tree)), m_base(std::move(base)), m_baseNode(std::move(baseNode)),
      m_ownFacts(std::move(ownFacts)) {
    index();
    m_copyOf.assign(m_base->facts.size(), -1);
    for (int i = 0; i < size(); ++i) {
        const int b = m_baseNode[static_cast<size_t>(i)];
        if (b < 0)
            continue;
        if (m_copyOf[static_cast<size_t>(b)] < 0)
            m_copyOf[static_cast<size_t>(b)] = i;
        else
            m_moreCopies.emplace(b, i);
    }
}

const ProcessFacts& ProcessTreeIndex::facts(int index) const {
    const int b = baseNodeOf(index);
    if (b >= 0)
        return m_base->facts[static_cast<size_t>(b)];
    static const ProcessFacts none;
    const auto own = m_ownFacts.find(index);
    return own == m_ownFacts.end() ? none : own->second;
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
}

void ProcessTreeIndex::buildText(Base& base) const {
    const int n = size();
    // Sized up front: folding case keeps the length of nearly every text, and a buffer grown by doubling
    // (then trimmed by a copy) would hold up to three times its size for a moment.
    size_t estimate = 0;
    for (int i = 0; i < n; ++i) {
        const ProcessFacts& facts = base.facts[static_cast<size_t>(i)];
        estimate += static_cast<size_t>(m_tree.node(i).exeName.size() + facts.commandLine.size() +
                                        m_tree.node(i).guid.size() + facts.user.size()) +
                    24;
    }
    base.text.clear();
    base.text.reserve(estimate + estimate / 64);
    base.textStart.clear();
    base.textStart.reserve(static_cast<size_t>(n) + 1);
    for (const int node : base.order) {
        base.textStart.push_back(static_cast<quint32>(base.text.size()));
        const ProcessHierarchy::Node& info = m_tree.node(node);
        const ProcessFacts& facts = base.facts[static_cast<size_t>(node)];
        // Fields apart by a line break, which no typed term holds, so that no match spans two.
        appendFolded(base.text, viewOf(info.exeName.toUtf8()));
        base.text.push_back('\n');
        appendFolded(base.text, viewOf(facts.commandLine));
        base.text.push_back('\n');
        if (facts.processId >= 0)
            base.text += std::to_string(facts.processId);
        base.text.push_back('\n');
        appendFolded(base.text, viewOf(info.guid));
        base.text.push_back('\n');
        appendFolded(base.text, viewOf(facts.user.toUtf8()));
        base.text.push_back('\0');
    }
    base.textStart.push_back(static_cast<quint32>(base.text.size()));
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
    const Base& base = *m_base;
    const auto keep = [&](int node) {
        if (!within || (*within)[static_cast<size_t>(node)])
            found.push_back(node);
    };
    const char* const text = base.text.data();
    const size_t length = base.text.size();
    size_t from = 0;
    size_t k = 0; // the text that holds `from`: hits only move forward, so a cursor beats a search
    while (from < length) {
        const void* hit = memmem(text + from, length - from, needle.data(), needle.size());
        if (!hit)
            break;
        const auto at = static_cast<quint32>(static_cast<const char*>(hit) - text);
        while (base.textStart[k + 1] <= at)
            ++k;
        // The node whose text holds the hit; its other hits add nothing.
        const int node = base.order[k];
        from = base.textStart[++k];
        if (m_baseNode.empty()) {
            keep(node);
            continue;
        }
        if (m_copyOf[static_cast<size_t>(node)] >= 0)
            keep(m_copyOf[static_cast<size_t>(node)]);
        const auto [first, last] = m_moreCopies.equal_range(node);
        for (auto copy = first; copy != last; ++copy)
            keep(copy->second);
    }
    // A tree made from the base has an order of its own.
    if (!m_baseNode.empty())
        std::sort(found.begin(), found.end(), [this](int a, int b) { return position(a) < position(b); });
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

ProcessTreeIndex ProcessTreeIndex::derived(ProcessHierarchy tree, const std::vector<int>& origin) const {
    std::vector<int> baseNode(origin.size(), -1);
    std::unordered_map<int, ProcessFacts> own;
    for (size_t i = 0; i < origin.size(); ++i) {
        if (origin[i] >= 0) {
            baseNode[i] = baseNodeOf(origin[i]);
            if (baseNode[i] < 0)
                own.emplace(static_cast<int>(i), facts(origin[i]));
        } else if (tree.node(static_cast<int>(i)).kind == ProcessHierarchy::Kind::Computer) {
            own[static_cast<int>(i)].computer = tree.node(static_cast<int>(i)).exeName;
        }
    }
    return ProcessTreeIndex(std::move(tree), m_base, std::move(baseNode), std::move(own));
}

ProcessTreeIndex ProcessTreeIndex::byComputer() const {
    std::vector<int> origin;
    ProcessHierarchy split = m_tree.byComputer([this](int node) { return facts(node).computer; }, &origin);
    return derived(std::move(split), origin);
}

ProcessTreeIndex ProcessTreeIndex::focused(const std::vector<int>& nodes) const {
    std::vector<int> origin;
    ProcessHierarchy part = m_tree.subset(family(nodes), &origin);
    return derived(std::move(part), origin);
}

std::vector<ProcessFacts> ProcessTreeIndex::readFacts(TMainDataModule& data, const ProcessHierarchy& tree) {
    const int n = tree.size();
    std::vector<ProcessFacts> facts(static_cast<size_t>(n));
    // FIDs are the keys of AllEvents, dense from 1: an array by FID spares a hash table of every process.
    qint32 maxFid = 0;
    for (int i = 0; i < n; ++i)
        if (tree.node(i).kind == ProcessHierarchy::Kind::Process)
            maxFid = std::max(maxFid, tree.node(i).fid);
    const bool dense = maxFid >= 0 && maxFid <= 8 * qint64(n) + 1024;
    std::vector<int> byFidArray(dense ? static_cast<size_t>(maxFid) + 1 : 0, -1);
    std::unordered_map<qint32, int> byFidMap;
    std::unordered_map<std::string_view, int> byGuid;
    byGuid.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const ProcessHierarchy::Node& node = tree.node(i);
        if (node.kind != ProcessHierarchy::Kind::Process)
            continue;
        if (dense && node.fid >= 0)
            byFidArray[static_cast<size_t>(node.fid)] = i;
        else
            byFidMap.emplace(node.fid, i);
        byGuid.emplace(viewOf(node.guid), i);
    }
    if (byGuid.empty())
        return facts;
    const auto nodeOfFid = [&](qint64 fid) {
        if (dense && fid >= 0 && fid <= maxFid)
            return byFidArray[static_cast<size_t>(fid)];
        const auto found = byFidMap.find(static_cast<qint32>(fid));
        return found == byFidMap.end() ? -1 : found->second;
    };

    sql::Database& db = data.connection();
    NamePool names;
    sql::Statement creations = db.prepare(
        "SELECT FID, ProcessId, User, IntegrityLevel, UtcTime, CommandLine, Computer FROM ProcessCreate");
    while (creations.step()) {
        const int node = nodeOfFid(creations.columnInt64(0));
        if (node < 0)
            continue;
        ProcessFacts& f = facts[static_cast<size_t>(node)];
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

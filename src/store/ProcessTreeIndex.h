#pragma once

#include "store/ProcessHierarchy.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace kelvane {

class TMainDataModule;

// What the tree list shows and the find box searches, per node of a hierarchy.
struct ProcessFacts {
    qint64 processId = -1; // -1 where there is none (the root, top level and computer nodes)
    QString user;
    QString integrityLevel;
    QString computer;
    QByteArray startTime;   // as stored; empty where unknown
    QByteArray endTime;     // of the process's ProcessTerminated row; empty while it runs
    QByteArray commandLine; // UTF-8, as stored
};

// A hierarchy made navigable: children, depths and the drawing's order per node, the facts of every
// process, and the find, focus and fold questions the Hierarchy tab asks. Knows nothing of widgets.
class ProcessTreeIndex {
public:
    ProcessTreeIndex() = default;
    // `facts` has one entry per node of `tree`.
    ProcessTreeIndex(ProcessHierarchy tree, std::vector<ProcessFacts> facts);

    // The facts of every node of `tree`, from ProcessCreate (by FID) and ProcessTerminated (by GUID,
    // its earliest row). A top level node takes the computer of its first child.
    static std::vector<ProcessFacts> readFacts(TMainDataModule& data, const ProcessHierarchy& tree);

    const ProcessHierarchy& tree() const { return m_tree; }
    int size() const { return m_tree.size(); }
    bool isEmpty() const { return m_tree.size() == 0; }
    const ProcessHierarchy::Node& node(int index) const { return m_tree.node(index); }
    const ProcessFacts& facts(int index) const;

    int parent(int index) const { return m_tree.node(index).parent; }
    int depth(int index) const { return m_depth[static_cast<size_t>(index)]; }
    int maxDepth() const { return m_maxDepth; }
    std::span<const int> children(int index) const;
    int childCount(int index) const { return static_cast<int>(children(index).size()); }
    // Every node in the drawing's order: depth-first, children in their order.
    const std::vector<int>& drawingOrder() const { return m_order; }
    // Place of a node in drawingOrder().
    int position(int index) const { return m_position[static_cast<size_t>(index)]; }

    // The nodes whose exe name, command line, process id, GUID or user hold `term`, case aside, in
    // the drawing's order; only those marked in `within` when it is given. An empty term finds nothing.
    std::vector<int> find(const QString& term, const std::vector<char>* within = nullptr) const;
    // The process and top level nodes of a GUID: those that match it exactly, or else those that
    // match it case aside (the tree keeps GUIDs that differ in case apart; a session list does not).
    std::vector<int> nodesOfGuid(const QString& guid) const;
    // The family of the given nodes: they, their ancestors up to the root and all their descendants.
    std::vector<char> family(const std::vector<int>& nodes) const;
    // Which nodes stay unfolded when the tree is folded below `depth`: those above it. A negative
    // depth unfolds everything.
    std::vector<char> unfoldedAbove(int depth) const;

    // The tree with one root per computer (ProcessHierarchy::byComputer), facts carried over.
    ProcessTreeIndex byComputer() const;
    // The family of `nodes` as a tree of its own, facts carried over.
    ProcessTreeIndex focused(const std::vector<int>& nodes) const;

private:
    // The facts and the searched texts of the tree read from the database. Trees made from it (by
    // computer, focused) share it, and keep per node the node of that tree it stands for.
    struct Base;
    ProcessTreeIndex(ProcessHierarchy tree, std::shared_ptr<const Base> base, std::vector<int> baseNode,
                     std::unordered_map<int, ProcessFacts> ownFacts);
    ProcessTreeIndex derived(ProcessHierarchy tree, const std::vector<int>& origin) const;
    int baseNodeOf(int index) const {
        return m_baseNode.empty() ? index : m_baseNode[static_cast<size_t>(index)];
    }
    void index();
    void buildText(Base& base) const;

    ProcessHierarchy m_tree;
    std::shared_ptr<const Base> m_base;
    std::vector<int> m_baseNode;                      // per node; empty when this is the base's own tree
    std::unordered_map<int, ProcessFacts> m_ownFacts; // of nodes that stand for none of the base's
    std::vector<int> m_copyOf; // per base node, the first node here that stands for it, or -1
    std::unordered_multimap<int, int> m_moreCopies; // the others (a top level node split by computer)
    std::vector<int> m_depth;
    std::vector<int> m_childStart; // children of node i: m_children[m_childStart[i] .. m_childStart[i+1])
    std::vector<int> m_children;
    std::vector<int> m_order;
    std::vector<int> m_position;
    std::vector<int> m_subtreeEnd; // position after the last descendant
    int m_maxDepth = 0;
};

} // namespace kelvane

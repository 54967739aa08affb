#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <vector>

namespace kelvane {

class TMainDataModule;

// Who started whom: one tree of every process that ProcessCreate can place, under an unnamed root.
// Built from one read of ProcessCreate in time order, in time linear in its rows, without recursion.
class ProcessHierarchy {
public:
    // Computer nodes stand only in the tree of byComputer(), between the root and a machine's processes.
    enum class Kind : quint8 { Top, TopLevel, Process, Computer };

    struct Node {
        int parent = -1; // index of the parent node; -1 for the root
        Kind kind = Kind::Top;
        QString exeName;    // as the node shows it, without the padding; a computer's name
        qint32 fid = 0;     // the creation row's FID; 0 for the root and top level nodes
        quint32 colour = 0; // RRGGBB
        QByteArray guid;    // the process's GUID, or the unlogged parent's for a top level node
    };

    // The colours by kind; a process is coloured by whether it terminated.
    static constexpr quint32 kTopColour = 0x9370DB;
    static constexpr quint32 kTerminatedColour = 0x56ACF3;
    static constexpr quint32 kTopLevelColour = 0xEE82EE;
    static constexpr quint32 kRunningColour = 0xFF4500;
    static constexpr quint32 kComputerColour = 0xB0C4DE;

    // One row of ProcessCreate as the tree reads it. GUIDs are UTF-8; a null GUID reads as empty text.
    struct Row {
        QByteArray processGuid;
        QByteArray parentProcessGuid;
        QString imageExe;
        QString parentImageExe;
        qint32 fid = 0;
        bool processGuidNull = false;
        bool parentGuidNull = false;
    };

    // Answers whether the process of a GUID terminated. The tree asks once, before the first node.
    using TerminationLookup = std::function<bool(const QByteArray& processGuid)>;

    // Builds the tree from the rows of ProcessCreate in the order of UtcTime. Each node is made after
    // its parent, and siblings stand in the order they were made.
    //
    // A process row whose parent has a creation row is placed; its ancestors are reached by their
    // earliest creation row and named by the ParentImageExe of the child that reached them. A parent
    // without any creation row becomes a top level node under the root. GUIDs compare exactly, case
    // included. A chain of parents that leads back into itself is cut where it closes: the process
    // whose parent would close the loop hangs under the root.
    static ProcessHierarchy build(const std::vector<Row>& rows, const TerminationLookup& terminated);

    // The tree of the open database, from one read of ProcessCreate. The termination answer comes
    // from FDQueryGetProcessTermination, left open once it has run: it answers for the first process
    // placed after the connection opened, and that answer colours every process node of every tree
    // until the database is closed. `progress` (optional) hears the rows read.
    static ProcessHierarchy generate(TMainDataModule& data,
                                     const std::function<void(qint64 done, qint64 total)>& progress = {});

    // The rows of ProcessCreate in the order of UtcTime (ties in the order they were written).
    static std::vector<Row> readRows(TMainDataModule& data,
                                     const std::function<void(qint64 done, qint64 total)>& progress = {});

    const std::vector<Node>& nodes() const { return m_nodes; }
    int size() const { return static_cast<int>(m_nodes.size()); }
    const Node& node(int index) const { return m_nodes[static_cast<size_t>(index)]; }

    // Node indices depth-first, children in their order, each with its depth (0 for the root).
    std::vector<std::pair<int, int>> depthFirst() const;
    // One line per node depth-first: depth, kind, exe name, FID or nothing, colour as RRGGBB.
    QString toText() const;

    // The nodes marked in `keep`, in their order, each under its parent; a kept node's parent must be
    // kept too. `origin` (optional) receives, per new node, the index it had here.
    ProcessHierarchy subset(const std::vector<char>& keep, std::vector<int>* origin = nullptr) const;

    // The same tree with one computer node per machine under the root, in the order of their names,
    // so that machines are not mixed. What hangs under the root goes under the computer of its process;
    // a top level node stands under each computer that its children ran on, with those children.
    // `computerOf` names the computer of a process node. `origin` receives, per new node, the index it
    // had here, or -1 for a computer node.
    ProcessHierarchy byComputer(const std::function<QString(int node)>& computerOf,
                                std::vector<int>* origin = nullptr) const;

private:
    std::vector<Node> m_nodes;
};

} // namespace kelvane

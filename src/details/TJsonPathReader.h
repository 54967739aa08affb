#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace kelvane {

// A JSON document addressed by path, as the VirusTotal answers are read. Every value keeps the
// text it has in the document: a string with its quotes and its escapes unresolved, a number as
// written. Paths: $.name, $.['name with blanks'], $.['outer'].inner, $.name[i], $.name[i].field.
class TJsonPathReader {
public:
    enum class Kind { Object, Array, String, Number, True, False, Null };

    // Forgets the document before.
    void reset();
    // Loads a document; throws std::runtime_error (with the place) when the text is not JSON.
    void parse(const QByteArray& document);
    // Whether the path exists; if so it becomes the current place. A malformed path doesn't exist.
    bool tryPath(const QString& path);
    // The current place's text as it stands in the document.
    QString text() const;
    // The number of elements of the array (or members of the object) at the current place.
    int childCount() const;

    bool hasDocument() const { return !m_nodes.empty(); }
    Kind kind() const;
    // A string's value with its escapes resolved; other values give their text.
    QString value() const;

    // Places in the document, for readers that walk it instead of asking by path. Node 0 is the root.
    static constexpr int kNone = -1;
    int root() const { return m_nodes.empty() ? kNone : 0; }
    int current() const { return m_current; }
    Kind kindOf(int node) const { return m_nodes[static_cast<size_t>(node)].kind; }
    QString textOf(int node) const;
    QString valueOf(int node) const;
    int memberOf(int objectNode, const QString& name) const;
    int elementOf(int arrayNode, int index) const;
    int countOf(int node) const;
    // The i-th element of an array or member of an object, in document order.
    int childAt(int node, int index) const;
    // The i-th member's name of an object node.
    QString nameOf(int objectNode, int index) const;

    // Resolves the escapes of a JSON string text given with its quotes.
    static QString unescape(const QByteArray& quoted);

private:
    struct Node {
        Kind kind;
        qsizetype begin; // byte span in the document
        qsizetype end;
        std::vector<int> children;
        std::vector<QString> names; // for objects, one per child
    };
    class Parser;

    QByteArray m_document;
    std::vector<Node> m_nodes;
    int m_current = kNone;
};

} // namespace kelvane

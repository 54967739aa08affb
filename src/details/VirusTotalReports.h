#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>
#include <vector>

namespace kelvane {

// One line of the VirusTotal tree on a detail form: three cells and the lines under it.
struct VTTreeNode {
    std::array<QString, 3> cells;
    std::vector<VTTreeNode> children;

    VTTreeNode& add(const QString& c1, const QString& c2 = {}, const QString& c3 = {}) {
        children.push_back(VTTreeNode{{c1, c2, c3}, {}});
        return children.back();
    }
};

// What one answer of VirusTotal does to a form: a new status text, a new top-level line, and
// (for a file report) the positives that colour the lines. Absent parts change nothing.
struct VTOutcome {
    std::optional<QString> status;
    std::optional<VTTreeNode> node;
    std::optional<QString> positives;
};

// How a cell of the address and domain trees is drawn; the words of its row decide.
struct VTCellLook {
    bool heading = false; // a node with children: dark, white and bold
    bool fact = false;    // a fact or column heading row: mid-grey, white
};
VTCellLook vtCellLook(const std::array<QString, 3>& cells, bool hasChildren);

namespace vtreports {

// Texts read from the reports lose every double quote before use.
QString unquoted(QString text);

// Readers of the version 2 answers; each throws std::runtime_error on a body that isn't JSON.
VTOutcome readFileReport(const QByteArray& body);
VTOutcome readIPReport(const QByteArray& body, const QString& address);
VTOutcome readDomainReport(const QByteArray& body, const QString& domain);

// Readers of the version 3 answers (200 only), mapped onto the same lines and trees.
VTOutcome readFileReportV3(const QByteArray& body);
VTOutcome readIPReportV3(const QByteArray& body, const QString& address);
VTOutcome readDomainReportV3(const QByteArray& body, const QString& domain);
// The message of a version 3 error answer ({"error": {"message": ...}}), if the body has one.
std::optional<QString> errorMessageV3(const QByteArray& body);

// The web page of a file's report, which the version 3 answer doesn't carry.
inline constexpr const char* kFileGuiAddress = "https://www.virustotal.com/gui/file/";

} // namespace vtreports
} // namespace kelvane

#pragma once

#include <QByteArray>
#include <QSaveFile>
#include <QString>

#include <string_view>

namespace kelvane::output {

// The file an export writes: filled beside its final place and put there only on commit(), so that a
// cancelled or failed export leaves nothing and an older file of that name stays as it was until then.
// Writes are gathered in a buffer; every failure throws ExportError with the system's reason.
class OutputFile {
public:
    explicit OutputFile(const QString& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view bytes) {
        m_buffer.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
        if (m_buffer.size() >= kFlushSize)
            flush();
    }
    void write(const QByteArray& bytes) { write(std::string_view(bytes.constData(), bytes.size())); }
    void flush();
    void commit();

    // The user's words for a write that failed.
    static QString failureText(const QString& path, const QString& reason);

private:
    static constexpr qsizetype kFlushSize = 1 << 20;
    QString m_path;
    QSaveFile m_file;
    QByteArray m_buffer;
    bool m_committed = false;
};

} // namespace kelvane::output

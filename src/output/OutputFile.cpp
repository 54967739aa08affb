#include "output/OutputFile.h"

#include "output/ExportErrors.h"

#include <QDir>

namespace kelvane::output {

OutputFile::OutputFile(const QString& path) : m_path(path), m_file(path) {
    if (!m_file.open(QIODevice::WriteOnly))
        throw ExportError(failureText(m_path, m_file.errorString()));
    m_buffer.reserve(kFlushSize + (kFlushSize >> 2));
}

OutputFile::~OutputFile() {
    if (!m_committed)
        m_file.cancelWriting(); // the temporary file goes with the object
}

void OutputFile::flush() {
    if (m_buffer.isEmpty())
        return;
    if (m_file.write(m_buffer) != m_buffer.size())
        throw ExportError(failureText(m_path, m_file.errorString()));
    m_buffer.clear();
}

void OutputFile::commit() {
    flush();
    if (!m_file.commit())
        throw ExportError(failureText(m_path, m_file.errorString()));
    m_committed = true;
}

QString OutputFile::failureText(const QString& path, const QString& reason) {
    return QString("Cannot write %1: %2").arg(QDir::toNativeSeparators(path), reason);
}

} // namespace kelvane::output

#include "import/ImportReport.h"

namespace kelvane {

ImportReport::ImportReport(QObject* parent) : QObject(parent) {}

int ImportReport::modalResult() const {
    std::lock_guard lock(m_mutex);
    return m_modalResult;
}

QStringList ImportReport::errorMessage() const {
    std::lock_guard lock(m_mutex);
    return m_errorMessage;
}

QString ImportReport::labelMessage() const {
    std::lock_guard lock(m_mutex);
    return m_label;
}

QString ImportReport::statusBarLog() const {
    std::lock_guard lock(m_mutex);
    return m_status;
}

void ImportReport::workerFailed(const QString& text) {
    {
        std::lock_guard lock(m_mutex);
        m_errorMessage << text;
        m_modalResult = Abort;
    }
    emit changed();
}

void ImportReport::storageFailed(const QString& text, qint64 eventsKept) {
    {
        std::lock_guard lock(m_mutex);
        m_errorMessage << text;
        m_storageFailure = QString("The database could not be written: %1. %2 events were kept in it and can "
                                   "be loaded.")
                               .arg(text)
                               .arg(eventsKept);
        // The mapper's errors stay in front; the start text does not.
        m_label = m_label.startsWith("Error: ") ? m_label + m_storageFailure : m_storageFailure;
        m_modalResult = Abort;
    }
    emit changed();
}

QString ImportReport::storageFailure() const {
    std::lock_guard lock(m_mutex);
    return m_storageFailure;
}

void ImportReport::mapperFailed(const QString& text) {
    {
        std::lock_guard lock(m_mutex);
        m_errorMessage << text;
        m_label = "Error: " + m_errorMessage.join('\n') + '\n';
        m_modalResult = Abort;
    }
    emit changed();
}

void ImportReport::dateFailed() {
    ++m_dateFailures;
    bool first = false;
    {
        std::lock_guard lock(m_mutex);
        first = m_modalResult != Abort;
        m_modalResult = Abort;
    }
    if (first)
        emit changed();
}

void ImportReport::itemDropped() {
    bool first = false;
    {
        std::lock_guard lock(m_mutex);
        first = m_status.isEmpty();
        m_status = kNotFullySuccessful;
    }
    if (first)
        emit changed();
}

void ImportReport::finished(qint64 eventsCount) {
    {
        std::lock_guard lock(m_mutex);
        if (m_modalResult == Abort)
            return;
        m_modalResult = Ok;
        m_label = QString("Done! Imported %1 Events").arg(eventsCount);
        for (const QString& line : lossLines(m_losses))
            m_label += '\n' + line;
    }
    emit changed();
}

ReadLosses ImportReport::readLosses() const {
    std::lock_guard lock(m_mutex);
    return m_losses;
}

void ImportReport::setReadLosses(const ReadLosses& losses) {
    std::lock_guard lock(m_mutex);
    m_losses = losses;
}

QStringList ImportReport::lossLines(const ReadLosses& l) {
    QStringList lines;
    if (l.recordsDamaged)
        lines << QString("%1 damaged records could not be read and were skipped").arg(l.recordsDamaged);
    if (l.recordsStale)
        lines << QString("%1 stale records (older data outside their chunk's records) were left out")
                     .arg(l.recordsStale);
    if (l.recordsRepeated)
        lines
            << QString("%1 repeated records (read before in the file) were left out").arg(l.recordsRepeated);
    if (l.chunksCut)
        lines << (l.recordsCut ? QString("The file is cut off: %1 records of its last chunk are missing")
                                     .arg(l.recordsCut)
                               : QString("The file is cut off inside a chunk"));
    if (l.chunksChecksumFailed)
        lines << QString("%1 chunks failed their checksum; %2 imported events come from them")
                     .arg(l.chunksChecksumFailed)
                     .arg(l.recordsFromFailedChunks);
    if (l.chunksWithoutSignature)
        lines << QString("%1 chunks with a damaged signature were recovered").arg(l.chunksWithoutSignature);
    return lines;
}

void ImportReport::setModalResult(int result) {
    {
        std::lock_guard lock(m_mutex);
        m_modalResult = result;
    }
    emit changed();
}

} // namespace kelvane

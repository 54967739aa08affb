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
        if (const qint64 skipped = m_recordsSkipped.load(); skipped > 0)
            m_label += QString("\n%1 damaged records were skipped").arg(skipped);
    }
    emit changed();
}

void ImportReport::setModalResult(int result) {
    {
        std::lock_guard lock(m_mutex);
        m_modalResult = result;
    }
    emit changed();
}

} // namespace kelvane

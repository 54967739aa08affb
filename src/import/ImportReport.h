#pragma once

#include "import/ReadLosses.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <mutex>

namespace kelvane {

// What an import tells its dialog: the modal result, the error lines, the label and status bar texts.
// Written by the worker thread, read by the main thread; every change is announced by changed().
class ImportReport : public QObject {
    Q_OBJECT
public:
    enum ModalResult { None = 0, Ok = 1, Cancel = 2, Abort = 3 };

    static constexpr const char* kStartText =
        "Please note that this operation might take some time,depending on teh size of log file";
    static constexpr const char* kNotFullySuccessful = "Seems like import was not fully succesful!";

    explicit ImportReport(QObject* parent = nullptr);

    int modalResult() const;
    QStringList errorMessage() const;
    QString labelMessage() const;
    QString statusBarLog() const;
    int dateFailures() const { return m_dateFailures; }
    // What the reader left out of the log, or cannot vouch for; the done text tells it line by line.
    ReadLosses readLosses() const;
    void setReadLosses(const ReadLosses& losses);
    // The lines that tell the losses, one per kind of loss (none when nothing was lost).
    static QStringList lossLines(const ReadLosses& losses);

    // A failure of the worker itself: its text joins ErrorMessage, the result becomes abort.
    void workerFailed(const QString& text);
    // The database file could not be written (a full disk): the label says so after whatever it said
    // before, with the number of events that the file kept.
    void storageFailed(const QString& text, qint64 eventsKept);
    // The storage failure's words, or nothing when there was none.
    QString storageFailure() const;
    // A failure while writing one event: ErrorMessage grows and the label lists all of it.
    void mapperFailed(const QString& text);
    // A time stamp that could not be read.
    void dateFailed();
    // A data item that could not be added.
    void itemDropped();
    // The end of the task: unless it was aborted, the result is ok and the label tells the count.
    void finished(qint64 eventsCount);
    void setModalResult(int result);

signals:
    void changed();

private:
    mutable std::mutex m_mutex;
    int m_modalResult = None;
    QStringList m_errorMessage;
    QString m_label = kStartText;
    QString m_status;
    std::atomic<int> m_dateFailures{0};
    ReadLosses m_losses;
    QString m_storageFailure;
};

} // namespace kelvane

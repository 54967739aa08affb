#pragma once

#include <QString>
#include <QStringList>

#include <deque>
#include <functional>

class QDialog;
class QWidget;

namespace kelvane::ui {

// Every modal message, question, file dialog and modal form of the program goes through here,
// so that a test can answer them from a script instead of blocking on a modal loop.
class MessageService {
public:
    enum class Icon { None, Information, Warning, Error, Question };

    // A plain message with OK, centred over parent (or the active window).
    static void message(QWidget* parent, const QString& text, const QString& title = QString(),
                        Icon icon = Icon::None);
    // A Yes/No question; true only for Yes.
    static bool question(QWidget* parent, const QString& text, const QString& title = QString());
    // File dialogs; an empty text when the user cancels.
    static QString openFileName(QWidget* parent, const QString& caption, const QString& directory,
                                const QString& filter);
    static QString saveFileName(QWidget* parent, const QString& caption, const QString& directory,
                                const QString& filter);
    // Several existing files, or one folder; empty when the user cancels. A script's file name entry
    // holds the several names separated by line breaks.
    static QStringList openFileNames(QWidget* parent, const QString& caption, const QString& directory,
                                     const QString& filter);
    static QString existingDirectory(QWidget* parent, const QString& caption, const QString& directory);

    // A save dialog as a form declares it. defaultExtension may be written as a pattern ("*.HTML"); a
    // name typed without an extension gets it. With overwritePrompt, an existing file is replaced only
    // after the user agreed.
    struct SaveDialog {
        QString title;
        QString filter;
        QString defaultExtension;
        bool overwritePrompt = true;
    };
    static QString saveFileName(QWidget* parent, const SaveDialog& dialog,
                                const QString& directory = QString());
    // The dialog's question before a file is replaced; true when the user agrees.
    static bool confirmOverwrite(QWidget* parent, const QString& fileName);
    // Hands a finished file to the user's viewer for its type.
    static void openDocument(QWidget* parent, const QString& fileName);
    // Runs a modal form and gives its result code.
    static int exec(QDialog* dialog);

    // What a script saw: one entry per call, "message: text", "question: text", "open: caption",
    // "save: caption", "exec: objectName" or "document: file name". A save dialog's text is its filter, its
    // detail the default extension.
    struct Record {
        QString kind;
        QString title;
        QString text;
        QString detail = {};
    };
};

// Runs an event handler the way the application's default fault handler would: what the handler
// throws is shown as a message over owner, and the program goes on.
void guarded(QWidget* owner, const std::function<void()>& handler);

// Installed by a test for its lifetime: answers every modal call from queues and records it.
// Unanswered questions say No, file dialogs give an empty name, forms give the result 0 (rejected).
class MessageScript {
public:
    MessageScript();
    ~MessageScript();
    MessageScript(const MessageScript&) = delete;
    MessageScript& operator=(const MessageScript&) = delete;

    MessageScript& answer(bool yes) {
        m_answers.push_back(yes);
        return *this;
    }
    MessageScript& fileName(const QString& path) {
        m_fileNames.push_back(path);
        return *this;
    }
    // The next modal form is handed to this function instead of being run; it returns the result code.
    MessageScript& dialog(std::function<int(QDialog*)> handler) {
        m_dialogs.push_back(std::move(handler));
        return *this;
    }

    const std::deque<MessageService::Record>& records() const { return m_records; }
    QStringList texts(const QString& kind = QString()) const;
    void clear() { m_records.clear(); }

    static MessageScript* current();

private:
    friend class MessageService;
    std::deque<bool> m_answers;
    std::deque<QString> m_fileNames;
    std::deque<std::function<int(QDialog*)>> m_dialogs;
    std::deque<MessageService::Record> m_records;
    MessageScript* m_previous = nullptr;
};

} // namespace kelvane::ui

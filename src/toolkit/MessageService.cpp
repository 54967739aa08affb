#include "toolkit/MessageService.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>

namespace kelvane::ui {
namespace {

MessageScript* g_script = nullptr;

QWidget* ownerFor(QWidget* parent) {
    return parent ? parent : QApplication::activeWindow();
}

QMessageBox::Icon boxIcon(MessageService::Icon icon) {
    switch (icon) {
    case MessageService::Icon::Information:
        return QMessageBox::Information;
    case MessageService::Icon::Warning:
        return QMessageBox::Warning;
    case MessageService::Icon::Error:
        return QMessageBox::Critical;
    case MessageService::Icon::Question:
        return QMessageBox::Question;
    case MessageService::Icon::None:
        break;
    }
    return QMessageBox::NoIcon;
}

QString applicationTitle(const QString& title) {
    return title.isEmpty() ? QApplication::applicationDisplayName() : title;
}

} // namespace

MessageScript::MessageScript() : m_previous(g_script) {
    g_script = this;
}
MessageScript::~MessageScript() {
    g_script = m_previous;
}
MessageScript* MessageScript::current() {
    return g_script;
}

QStringList MessageScript::texts(const QString& kind) const {
    QStringList list;
    for (const auto& r : m_records)
        if (kind.isEmpty() || r.kind == kind)
            list << r.text;
    return list;
}

void MessageService::message(QWidget* parent, const QString& text, const QString& title, Icon icon) {
    if (g_script) {
        g_script->m_records.push_back({"message", title, text});
        return;
    }
    QMessageBox box(boxIcon(icon), applicationTitle(title), text, QMessageBox::Ok, ownerFor(parent));
    box.exec();
}

bool MessageService::question(QWidget* parent, const QString& text, const QString& title) {
    if (g_script) {
        g_script->m_records.push_back({"question", title, text});
        if (g_script->m_answers.empty())
            return false;
        const bool yes = g_script->m_answers.front();
        g_script->m_answers.pop_front();
        return yes;
    }
    QMessageBox box(QMessageBox::Question, applicationTitle(title), text, QMessageBox::Yes | QMessageBox::No,
                    ownerFor(parent));
    return box.exec() == QMessageBox::Yes;
}

QString MessageService::openFileName(QWidget* parent, const QString& caption, const QString& directory,
                                     const QString& filter) {
    if (g_script) {
        g_script->m_records.push_back({"open", caption, filter});
        if (g_script->m_fileNames.empty())
            return {};
        QString name = g_script->m_fileNames.front();
        g_script->m_fileNames.pop_front();
        return name;
    }
    return QFileDialog::getOpenFileName(ownerFor(parent), caption, directory, filter);
}

QString MessageService::saveFileName(QWidget* parent, const QString& caption, const QString& directory,
                                     const QString& filter) {
    if (g_script) {
        g_script->m_records.push_back({"save", caption, filter});
        if (g_script->m_fileNames.empty())
            return {};
        QString name = g_script->m_fileNames.front();
        g_script->m_fileNames.pop_front();
        return name;
    }
    return QFileDialog::getSaveFileName(ownerFor(parent), caption, directory, filter);
}

QStringList MessageService::openFileNames(QWidget* parent, const QString& caption, const QString& directory,
                                          const QString& filter) {
    if (g_script) {
        g_script->m_records.push_back({"open", caption, filter});
        if (g_script->m_fileNames.empty())
            return {};
        const QString names = g_script->m_fileNames.front();
        g_script->m_fileNames.pop_front();
        return names.split('\n', Qt::SkipEmptyParts);
    }
    return QFileDialog::getOpenFileNames(ownerFor(parent), caption, directory, filter);
}

QString MessageService::existingDirectory(QWidget* parent, const QString& caption, const QString& directory) {
    if (g_script) {
        g_script->m_records.push_back({"open", caption, QString()});
        if (g_script->m_fileNames.empty())
            return {};
        QString name = g_script->m_fileNames.front();
        g_script->m_fileNames.pop_front();
        return name;
    }
    return QFileDialog::getExistingDirectory(ownerFor(parent), caption, directory);
}

namespace {

QString suffixOf(const QString& defaultExtension) {
    QString suffix = defaultExtension;
    while (suffix.startsWith('*') || suffix.startsWith('.'))
        suffix.remove(0, 1);
    return suffix;
}

} // namespace

QString MessageService::saveFileName(QWidget* parent, const SaveDialog& dialog, const QString& directory) {
    const QString suffix = suffixOf(dialog.defaultExtension);
    if (g_script) {
        g_script->m_records.push_back({"save", dialog.title, dialog.filter, dialog.defaultExtension});
        if (g_script->m_fileNames.empty())
            return {};
        QString name = g_script->m_fileNames.front();
        g_script->m_fileNames.pop_front();
        // What the real dialog does before it returns: the default extension, then the question.
        if (!name.isEmpty() && !suffix.isEmpty() && QFileInfo(name).suffix().isEmpty())
            name += '.' + suffix;
        if (!name.isEmpty() && dialog.overwritePrompt && QFileInfo::exists(name) &&
            !confirmOverwrite(parent, name))
            return {};
        return name;
    }
    QFileDialog box(ownerFor(parent), dialog.title, directory, dialog.filter);
    box.setAcceptMode(QFileDialog::AcceptSave);
    box.setFileMode(QFileDialog::AnyFile);
    box.setDefaultSuffix(suffix);
    if (!dialog.overwritePrompt)
        box.setOption(QFileDialog::DontConfirmOverwrite);
    if (box.exec() != QDialog::Accepted || box.selectedFiles().isEmpty())
        return {};
    return box.selectedFiles().constFirst();
}

bool MessageService::confirmOverwrite(QWidget* parent, const QString& fileName) {
    return question(parent, QFileInfo(fileName).fileName() + " already exists.\nDo you want to replace it?");
}

void MessageService::openDocument(QWidget* parent, const QString& fileName) {
    Q_UNUSED(parent);
    if (g_script) {
        g_script->m_records.push_back({"document", QString(), fileName});
        return;
    }
    QDesktopServices::openUrl(QUrl::fromLocalFile(fileName));
}

int MessageService::exec(QDialog* dialog) {
    if (g_script) {
        g_script->m_records.push_back({"exec", dialog->windowTitle(), dialog->objectName()});
        if (g_script->m_dialogs.empty())
            return QDialog::Rejected;
        auto handler = std::move(g_script->m_dialogs.front());
        g_script->m_dialogs.pop_front();
        return handler(dialog);
    }
    return dialog->exec();
}

void guarded(QWidget* owner, const std::function<void()>& handler) {
    try {
        handler();
    } catch (const std::exception& e) {
        MessageService::message(owner, QString::fromUtf8(e.what()));
    }
}

} // namespace kelvane::ui

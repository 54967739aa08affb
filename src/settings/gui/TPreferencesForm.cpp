#include "settings/gui/TPreferencesForm.h"

#include "settings/TSharedResourcesModule.h"

#include <stdexcept>

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

namespace kelvane::ui {
namespace {

QLineEdit* keyEdit(const char* name, QWidget* parent) {
    auto* edit = new QLineEdit(parent);
    edit->setObjectName(name);
    // Room for a whole VirusTotal key (64 hex digits) without scrolling.
    edit->setMinimumWidth(edit->fontMetrics().horizontalAdvance(QString(66, '0')));
    return edit;
}

QLabel* buddyLabel(const char* name, const QString& text, QLineEdit* buddy, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setBuddy(buddy);
    return label;
}

} // namespace

TPreferencesForm::TPreferencesForm(TSharedResourcesModule& settings, QWidget* owner)
    : TPreferencesForm(&settings, owner) {}

TPreferencesForm::TPreferencesForm(QWidget* owner) : TPreferencesForm(nullptr, owner) {}

TSharedResourcesModule& TPreferencesForm::settings() const {
    TSharedResourcesModule* module = m_settings ? m_settings : SharedResourcesModule;
    if (!module)
        throw std::logic_error("The settings module has not been created");
    return *module;
}

TPreferencesForm::TPreferencesForm(TSharedResourcesModule* settings, QWidget* owner)
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                         Qt::WindowCloseButtonHint),
      m_settings(settings) {
    setObjectName("TPreferencesForm");
    setWindowTitle("Preferences");

    GroupBoxAPIKeys = new QGroupBox(this);
    GroupBoxAPIKeys->setObjectName("GroupBoxAPIKeys");
    EditVTKey = keyEdit("EditVTKey", GroupBoxAPIKeys);
    LabelVTKey = buddyLabel("LabelVTKey", "&VirusTotal API Key", EditVTKey, GroupBoxAPIKeys);
    EditIPStackKey = keyEdit("EditIPStackKey", GroupBoxAPIKeys);
    LabelIPStackKey = buddyLabel("LabelIPStackKey", "IPStack key", EditIPStackKey, GroupBoxAPIKeys);

    auto* fields = new QGridLayout(GroupBoxAPIKeys);
    fields->addWidget(LabelVTKey, 0, 0);
    fields->addWidget(EditVTKey, 0, 1);
    fields->addWidget(LabelIPStackKey, 1, 0);
    fields->addWidget(EditIPStackKey, 1, 1);
    EditSigmaRuleFolders = new QLineEdit(GroupBoxAPIKeys);
    EditSigmaRuleFolders->setObjectName("EditSigmaRuleFolders");
    EditSigmaRuleFolders->setPlaceholderText("folders separated by ;");
    fields->addWidget(new QLabel("Own Sigma rule folders", GroupBoxAPIKeys), 2, 0);
    fields->addWidget(EditSigmaRuleFolders, 2, 1);

    ButtonSave = new QPushButton("&Save", this);
    ButtonSave->setObjectName("ButtonSave");
    ButtonSave->setDefault(true);
    connect(ButtonSave, &QPushButton::clicked, this, [this] {
        ButtonSaveClick();
        done(kResultSave);
    });
    ButtonCancel = new QPushButton("&Cancel", this);
    ButtonCancel->setObjectName("ButtonCancel");
    connect(ButtonCancel, &QPushButton::clicked, this, [this] { done(kResultCancel); });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ButtonSave);
    buttons->addWidget(ButtonCancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(GroupBoxAPIKeys);
    // Where the keys are kept: the keyring, or the settings file where none answered.
    LabelKeyStore = new QLabel(this);
    LabelKeyStore->setObjectName("LabelKeyStore");
    LabelKeyStore->setWordWrap(true);
    layout->addWidget(LabelKeyStore);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void TPreferencesForm::showEvent(QShowEvent* event) {
    // A window restored from the task bar is not a new showing.
    if (!event->spontaneous())
        FormShow();
    QDialog::showEvent(event);
}

void TPreferencesForm::FormShow() {
    // The exact sentinel only: a key stored with blanks around it is shown as stored.
    const QString vtKey = settings().VirusTotalKey();
    if (vtKey != TSharedResourcesModule::kNoKey)
        EditVTKey->setText(vtKey);
    const QString ipstackKey = settings().IPStackKey();
    if (ipstackKey != TSharedResourcesModule::kNoKey)
        EditIPStackKey->setText(ipstackKey);
    LabelKeyStore->setText(settings().keysInKeyring() ? QString("The keys are kept in the desktop's keyring.")
                                                      : settings().keyringNotice());
    LabelKeyStore->setVisible(!LabelKeyStore->text().isEmpty());
    EditSigmaRuleFolders->setText(settings().SigmaRuleFolders().join(';'));
}

void TPreferencesForm::ButtonSaveClick() {
    if (!EditVTKey->text().trimmed().isEmpty())
        settings().setVirusTotalKey(EditVTKey->text());
    if (!EditIPStackKey->text().trimmed().isEmpty())
        settings().setIPStackKey(EditIPStackKey->text());
    settings().setSigmaRuleFolders(EditSigmaRuleFolders->text().split(';', Qt::SkipEmptyParts));
}

} // namespace kelvane::ui

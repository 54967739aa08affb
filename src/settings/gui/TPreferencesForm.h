#pragma once

#include <QDialog>

class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace kelvane {
class TSharedResourcesModule;
}

namespace kelvane::ui {

// The two API keys. Made once and reused: a field is only refilled when the store holds a key,
// so text typed and cancelled at an earlier showing stays in the field.
class TPreferencesForm : public QDialog {
    Q_OBJECT
public:
    static constexpr int kResultSave = 1;
    static constexpr int kResultCancel = 2;

    explicit TPreferencesForm(TSharedResourcesModule& settings, QWidget* owner = nullptr);
    // Over the program's settings module, looked up at each use: the form is made before the module.
    explicit TPreferencesForm(QWidget* owner = nullptr);

    // Runs at every showing.
    void FormShow();
    // Writes the non-blank fields, as typed; a blank field leaves its stored key alone.
    void ButtonSaveClick();

    // Escape and the close box count as Cancel.
    void reject() override { done(kResultCancel); }

protected:
    void showEvent(QShowEvent* event) override;

private:
    TPreferencesForm(TSharedResourcesModule* settings, QWidget* owner);
    TSharedResourcesModule& settings() const;
    TSharedResourcesModule* m_settings = nullptr;
    QGroupBox* GroupBoxAPIKeys = nullptr;
    QLabel* LabelVTKey = nullptr;
    QLineEdit* EditVTKey = nullptr;
    QLabel* LabelIPStackKey = nullptr;
    QLabel* LabelKeyStore = nullptr;
    QLineEdit* EditIPStackKey = nullptr;
    QLineEdit* EditSigmaRuleFolders = nullptr;
    QPushButton* ButtonSave = nullptr;
    QPushButton* ButtonCancel = nullptr;
};

} // namespace kelvane::ui

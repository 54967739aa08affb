#include "settings/gui/TConsentDialogRule.h"

#include "settings/TSharedResourcesModule.h"
#include "settings/gui/TFormConfirmationDialog.h"
#include "settings/gui/TFormIPStackConfirmationDialog.h"
#include "toolkit/MessageService.h"

#include <memory>
#include <stdexcept>

namespace kelvane::ui {
namespace {

TSharedResourcesModule& sharedSettings() {
    if (!SharedResourcesModule)
        throw std::runtime_error("The settings store is not open");
    return *SharedResourcesModule;
}

bool accepted(TermsKind kind, const TSharedResourcesModule& settings) {
    return kind == TermsKind::VirusTotal ? settings.VirusTotalToS() : settings.IPStackToS();
}

std::unique_ptr<TTermsDialog> termsDialog(TermsKind kind, QWidget* owner) {
    if (kind == TermsKind::VirusTotal)
        return std::make_unique<TFormConfirmationDialog>(owner);
    return std::make_unique<TFormIPStackConfirmationDialog>(owner);
}

} // namespace

bool askConsent(QWidget* owner, TermsKind kind, TSharedResourcesModule& settings) {
    if (accepted(kind, settings))
        return true;
    const auto dialog = termsDialog(kind, owner);
    if (MessageService::exec(dialog.get()) == TTermsDialog::kResultAccept) {
        if (kind == TermsKind::VirusTotal)
            settings.setVirusTotalToS(true);
        else
            settings.setIPStackToS(true);
    }
    // The store has the last word: a write that did not reach it counts as no consent.
    return accepted(kind, settings);
}

bool askConsent(QWidget* owner, TermsKind kind) {
    return askConsent(owner, kind, sharedSettings());
}

bool ipstackCheckBoxTicked(QWidget* owner, TSharedResourcesModule& settings) {
    if (!askConsent(owner, TermsKind::IPStack, settings))
        return false;
    if (TSharedResourcesModule::isUsableKey(settings.IPStackKey()))
        return true;
    MessageService::message(owner, "Set a IPStack API key first (File -> Preferences)");
    return false;
}

bool ipstackCheckBoxTicked(QWidget* owner) {
    return ipstackCheckBoxTicked(owner, sharedSettings());
}

} // namespace kelvane::ui

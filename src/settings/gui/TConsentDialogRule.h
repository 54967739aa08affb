#pragma once

class QWidget;

namespace kelvane {
class TSharedResourcesModule;
}

namespace kelvane::ui {

enum class TermsKind { VirusTotal, IPStack };

// The service's terms are asked for when the user first switches the service on. Without
// a stored acceptance the terms dialog runs modally over owner; Accept records it for good.
// Gives whether the acceptance stands afterwards: on false the caller unchecks its box.
// The overloads without settings use the program's single settings module.
bool askConsent(QWidget* owner, TermsKind kind, TSharedResourcesModule& settings);
bool askConsent(QWidget* owner, TermsKind kind);

// The import forms' geolocation box has just been ticked: consent first, then the key.
// A missing key is reported only once consent stands, and the consent stays recorded.
// Gives whether geolocation is armed; on false the caller unchecks the box.
bool ipstackCheckBoxTicked(QWidget* owner, TSharedResourcesModule& settings);
bool ipstackCheckBoxTicked(QWidget* owner);

} // namespace kelvane::ui

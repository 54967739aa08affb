#include "toolkit/DarkTheme.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QPalette>
#include <QStyleFactory>
#include <QToolTip>

namespace kelvane::ui {
namespace {

const QColor kWindow(0x2B, 0x2E, 0x33);
const QColor kBase(0x1F, 0x22, 0x26);
const QColor kAlternateBase(0x27, 0x2A, 0x2F);
const QColor kButton(0x36, 0x3A, 0x40);
const QColor kText(0xE6, 0xE8, 0xEA);
const QColor kDisabledText(0x7A, 0x7F, 0x86);
const QColor kAccent(0x1F, 0x9E, 0x96);
const QColor kToolTipBase(0x44, 0x49, 0x50);

QPalette darkPalette() {
    QPalette p;
    p.setColor(QPalette::Window, kWindow);
    p.setColor(QPalette::WindowText, kText);
    p.setColor(QPalette::Base, kBase);
    p.setColor(QPalette::AlternateBase, kAlternateBase);
    p.setColor(QPalette::Text, kText);
    p.setColor(QPalette::PlaceholderText, kDisabledText);
    p.setColor(QPalette::Button, kButton);
    p.setColor(QPalette::ButtonText, kText);
    p.setColor(QPalette::BrightText, QColor(0xFF, 0x6B, 0x5A));
    p.setColor(QPalette::ToolTipBase, kToolTipBase);
    p.setColor(QPalette::ToolTipText, kText);
    p.setColor(QPalette::Highlight, kAccent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, Qt::white);
    p.setColor(QPalette::LinkVisited, Qt::white);

    // The 3D shades Fusion draws frames and bevels with.
    p.setColor(QPalette::Light, kButton.lighter(140));
    p.setColor(QPalette::Midlight, kButton.lighter(115));
    p.setColor(QPalette::Mid, kWindow.darker(130));
    p.setColor(QPalette::Dark, kBase.darker(150));
    p.setColor(QPalette::Shadow, Qt::black);

    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::Link,
                            QPalette::LinkVisited, QPalette::HighlightedText})
        p.setColor(QPalette::Disabled, role, kDisabledText);
    p.setColor(QPalette::Disabled, QPalette::Base, kWindow);
    p.setColor(QPalette::Disabled, QPalette::Button, kWindow);
    p.setColor(QPalette::Disabled, QPalette::Highlight, kButton);
    // A window in the background keeps its selection visible.
    p.setColor(QPalette::Inactive, QPalette::Highlight, kAccent.darker(140));
    return p;
}

QFont themeFont() {
    const QString family = QFontDatabase::hasFamily("Tahoma")
                               ? QStringLiteral("Tahoma")
                               : QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    QFont font(family);
    font.setPixelSize(12);
    return font;
}

} // namespace

void applyDarkTheme(QApplication& app) {
    app.setStyle(QStyleFactory::create("Fusion"));
    const QPalette palette = darkPalette();
    app.setPalette(palette);
    // Tool tips keep a palette of their own.
    QToolTip::setPalette(palette);
    app.setFont(themeFont());
}

} // namespace kelvane::ui

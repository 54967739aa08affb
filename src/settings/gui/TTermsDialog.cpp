#include "settings/gui/TTermsDialog.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace kelvane::ui {

TTermsDialog::TTermsDialog(QWidget* owner, const QString& caption, const QString& sentence,
                           const QString& termsUrl)
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint) {
    setWindowTitle(caption);

    HTMLabelToS = new QLabel(this);
    HTMLabelToS->setObjectName("HTMLabelToS");
    HTMLabelToS->setTextFormat(Qt::RichText);
    HTMLabelToS->setAlignment(Qt::AlignCenter);
    HTMLabelToS->setText(sentence.toHtmlEscaped() + "<br><a href=\"" + termsUrl.toHtmlEscaped() + "\">" +
                         termsUrl.toHtmlEscaped() + "</a>");
    HTMLabelToS->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    connect(HTMLabelToS, &QLabel::linkActivated, this,
            [](const QString& link) { QDesktopServices::openUrl(QUrl(link)); });

    ButtonAccept = new QPushButton("Accept", this);
    ButtonAccept->setObjectName("ButtonAccept");
    connect(ButtonAccept, &QPushButton::clicked, this, [this] { done(kResultAccept); });
    ButtonCancel = new QPushButton("Cancel", this);
    ButtonCancel->setObjectName("ButtonCancel");
    connect(ButtonCancel, &QPushButton::clicked, this, [this] { done(kResultCancel); });
    // Return must not accept terms the user may not have read.
    ButtonAccept->setAutoDefault(false);
    ButtonCancel->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ButtonAccept);
    buttons->addWidget(ButtonCancel);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 16);
    layout->setSpacing(16);
    layout->addWidget(HTMLabelToS);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace kelvane::ui

#include "views/TAboutForm.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace kelvane::ui {

TAboutForm::TAboutForm(QWidget* owner)
    : QDialog(owner, Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                         Qt::WindowCloseButtonHint) {
    setObjectName("TAboutForm");
    setWindowTitle("About");
    setFixedSize(507, 114);

    HTMLabelAbout = new QLabel(this);
    HTMLabelAbout->setObjectName("HTMLabelAbout");
    HTMLabelAbout->setTextFormat(Qt::RichText);
    HTMLabelAbout->setAlignment(Qt::AlignCenter);
    // The link keeps its own colour whatever the palette says about links.
    HTMLabelAbout->setText(QString("<b>Kelvane 3.1</b><br>Made by the Kelvane developers &mdash; "
                                   "<a href=\"%1\" style=\"color:#F5662D;\">%1</a>")
                               .arg(kProjectPage));
    HTMLabelAbout->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    connect(HTMLabelAbout, &QLabel::linkActivated, this,
            [](const QString& link) { QDesktopServices::openUrl(QUrl(link)); });

    ButtonOk = new QPushButton("&Ok", this);
    ButtonOk->setObjectName("ButtonOk");
    ButtonOk->setDefault(true);
    connect(ButtonOk, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ButtonOk);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->addWidget(HTMLabelAbout, 1);
    // The rule licence (DRL 1.1) asks for this attribution wherever the rules are used.
    auto* sigma = new QLabel(this);
    sigma->setObjectName("LabelSigmaAttribution");
    sigma->setTextFormat(Qt::RichText);
    sigma->setAlignment(Qt::AlignCenter);
    sigma->setWordWrap(true);
    sigma->setText("Detections use the Sigma rules of the SigmaHQ project and its contributors "
                   "(https://github.com/SigmaHQ/sigma), under the Detection Rule License 1.1.");
    layout->addWidget(sigma);
    layout->addLayout(buttons);
}

} // namespace kelvane::ui

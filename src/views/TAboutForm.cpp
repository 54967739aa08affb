#include "views/TAboutForm.h"

#include "settings/ProductInfo.h"

#include <QDesktopServices>
#include <QDir>
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
    // A line higher than the credit alone needs: it also names the open database.
    setFixedSize(507, 138);

    HTMLabelAbout = new QLabel(this);
    HTMLabelAbout->setObjectName("HTMLabelAbout");
    HTMLabelAbout->setTextFormat(Qt::RichText);
    HTMLabelAbout->setAlignment(Qt::AlignCenter);
    // The link keeps its own colour whatever the palette says about links.
    HTMLabelAbout->setText(QString("<b>Kelvane 3.1</b><br>Made by the Kelvane developers &mdash; "
                                   "<a href=\"%1\" style=\"color:#F5662D;\">%1</a>")
                               .arg(product::kProjectPage));
    HTMLabelAbout->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    connect(HTMLabelAbout, &QLabel::linkActivated, this,
            [](const QString& link) { QDesktopServices::openUrl(QUrl(link)); });

    LabelDatabase = new QLabel(this);
    LabelDatabase->setObjectName("LabelDatabase");
    LabelDatabase->setAlignment(Qt::AlignCenter);
    LabelDatabase->setTextInteractionFlags(Qt::TextSelectableByMouse);
    setDatabasePath(QString());

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
    layout->addWidget(LabelDatabase);
    layout->addLayout(buttons);
}

void TAboutForm::setDatabasePath(const QString& path) {
    LabelDatabase->setText(path.isEmpty() ? QString("No database is open")
                                          : "Database: " + QDir::toNativeSeparators(path));
}

} // namespace kelvane::ui

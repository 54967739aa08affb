#include "toolkit/TElidedLabel.h"

#include <QResizeEvent>

namespace kelvane::ui {

TElidedLabel::TElidedLabel(QWidget* parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void TElidedLabel::setFullText(const QString& text) {
    m_text = text;
    elide();
}

QSize TElidedLabel::minimumSizeHint() const {
    // The text gives no minimum: it is cut to whatever room there is.
    return {0, QLabel::minimumSizeHint().height()};
}

void TElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    elide();
}

void TElidedLabel::elide() {
    QString line = m_text;
    line.replace(QLatin1String("\r\n"), QLatin1String(" ")).replace(QLatin1Char('\n'), QLatin1Char(' '));
    const int room = contentsRect().width();
    const QString shown = fontMetrics().elidedText(line, Qt::ElideRight, room);
    setText(shown);
    setToolTip(shown == line ? QString() : m_text);
}

} // namespace kelvane::ui

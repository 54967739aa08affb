#pragma once

#include <QLabel>

namespace kelvane::ui {

// A one-line label that shows as much of its text as fits, ending in "…", and the whole text as its
// tooltip when it had to cut, so that a long message can still be read.
class TElidedLabel : public QLabel {
    Q_OBJECT

public:
    explicit TElidedLabel(QWidget* parent = nullptr);

    void setFullText(const QString& text);
    const QString& fullText() const { return m_text; }
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();
    QString m_text;
};

} // namespace kelvane::ui

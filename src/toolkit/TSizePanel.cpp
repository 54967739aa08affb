#include "toolkit/TSizePanel.h"

#include <QEvent>
#include <QMouseEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace kelvane::ui {

// The top edge: a drag on it moves the edge, the bottom stays.
class TSizePanel::Grip : public QWidget {
public:
    explicit Grip(TSizePanel* panel) : QWidget(panel), m_panel(panel) {
        setObjectName("grip");
        setCursor(Qt::SizeVerCursor);
        setFixedHeight(kGripHeight);
    }

protected:
    void mousePressEvent(QMouseEvent* event) override {
        m_startY = event->globalPosition().y();
        m_startHeight = m_panel->panelHeight();
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (event->buttons() & Qt::LeftButton)
            m_panel->setPanelHeight(
                std::min(m_panel->parentWidget()->height(),
                         m_startHeight - static_cast<int>(event->globalPosition().y() - m_startY)));
    }

private:
    TSizePanel* m_panel;
    double m_startY = 0;
    int m_startHeight = 0;
};

TSizePanel::TSizePanel(QWidget* parent) : QFrame(parent) {
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(true);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(new Grip(this));
    m_contents = new QWidget(this);
    layout->addWidget(m_contents, 1);
    parent->installEventFilter(this);
}

void TSizePanel::setPanelHeight(int height) {
    m_height = std::max(kMinHeight, height);
    place();
}

void TSizePanel::place() {
    // Never taller than the parent, but the height asked for comes back when the parent grows.
    if (QWidget* p = parentWidget()) {
        const int h = std::min(m_height, p->height());
        setGeometry(0, p->height() - h, p->width(), h);
    }
}

bool TSizePanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        place();
    return QFrame::eventFilter(watched, event);
}

void TSizePanel::showEvent(QShowEvent* event) {
    place();
    raise();
    QFrame::showEvent(event);
}

} // namespace kelvane::ui

#include "toolkit/TDiagramOverview.h"

#include "toolkit/TNodeDiagram.h"

#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace kelvane::ui {

namespace {
constexpr int kStripHeight = 56;
}

TDiagramOverview::TDiagramOverview(TNodeDiagram* diagram, QWidget* parent)
    : QWidget(parent), m_diagram(diagram) {
    setObjectName("DiagramOverview");
    setFixedHeight(kStripHeight);
    setCursor(Qt::PointingHandCursor);
    setToolTip("Overview of the whole tree: click or drag to move there");
    connect(diagram, &TNodeDiagram::viewChanged, this, &TDiagramOverview::follow);
    hide();
}

QSize TDiagramOverview::sizeHint() const {
    return {200, kStripHeight};
}

void TDiagramOverview::follow() {
    // Only a drawing wider than its view needs a map of where the view is.
    const bool wanted = !m_diagram->zoomToFit() && !m_diagram->isUpdating() &&
                        m_diagram->drawingSize().width() > m_diagram->viewport()->width();
    if (wanted != isVisible())
        setVisible(wanted);
    if (wanted)
        update();
}

void TDiagramOverview::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    m_pictureStamp = 0;
}

QPointF TDiagramOverview::scale() const {
    const QSize drawing = m_diagram->drawingSize();
    return {std::max(1.0, drawing.width() / qreal(std::max(1, width()))),
            std::max(1.0, drawing.height() / qreal(std::max(1, height())))};
}

QRectF TDiagramOverview::viewMark() const {
    const QPointF s = scale();
    const QWidget* view = m_diagram->viewport();
    return {m_diagram->horizontalScrollBar()->value() / s.x(),
            m_diagram->verticalScrollBar()->value() / s.y(), std::max(2.0, view->width() / s.x()),
            std::max(2.0, view->height() / s.y())};
}

void TDiagramOverview::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const qreal ratio = devicePixelRatioF();
    if (m_picture.size() != size() * ratio || m_pictureStamp != m_diagram->changeStamp()) {
        // Drawn once per change of the tree: shrunk this far, boxes are blocks of colour.
        m_picture = QImage(size() * ratio, QImage::Format_RGB32);
        m_picture.setDevicePixelRatio(ratio);
        m_picture.fill(m_diagram->backgroundColor());
        QPainter picture(&m_picture);
        const QPointF s = scale();
        picture.scale(1 / s.x(), 1 / s.y());
        m_diagram->paintDrawing(picture, QRectF(QPointF(0, 0), m_diagram->drawingSize()));
        m_pictureStamp = m_diagram->changeStamp();
    }
    painter.drawImage(0, 0, m_picture);
    painter.setPen(QPen(QColor(0x00, 0x5A, 0xC8), 2));
    painter.setBrush(QColor(0x00, 0x5A, 0xC8, 40));
    painter.drawRect(viewMark().adjusted(1, 1, -1, -1));
    painter.setPen(Qt::gray);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void TDiagramOverview::moveViewTo(const QPointF& stripPos) {
    const QPointF s = scale();
    const QWidget* view = m_diagram->viewport();
    m_diagram->horizontalScrollBar()->setValue(qRound(stripPos.x() * s.x() - view->width() / 2.0));
    m_diagram->verticalScrollBar()->setValue(qRound(stripPos.y() * s.y() - view->height() / 2.0));
}

void TDiagramOverview::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        moveViewTo(event->position());
}

void TDiagramOverview::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton)
        moveViewTo(event->position());
}

} // namespace kelvane::ui

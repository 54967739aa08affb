#pragma once

#include <QImage>
#include <QWidget>

namespace kelvane::ui {

class TNodeDiagram;

// A strip with the whole of a diagram, shrunk to fit, and the part in view marked. A click or a drag
// moves the view there. It hides itself while the whole drawing fits the view.
class TDiagramOverview : public QWidget {
    Q_OBJECT

public:
    explicit TDiagramOverview(TNodeDiagram* diagram, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    // The part of the strip that stands for what the view shows.
    QRectF viewMark() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void follow();
    // Drawing pixels per strip pixel, on each axis.
    QPointF scale() const;
    void moveViewTo(const QPointF& stripPos);

    TNodeDiagram* m_diagram;
    QImage m_picture; // the whole drawing at the strip's size
    quint64 m_pictureStamp = 0;
};

} // namespace kelvane::ui

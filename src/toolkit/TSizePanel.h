#pragma once

#include <QFrame>

namespace kelvane::ui {

// A panel that lies over the bottom edge of its parent, across its whole width, and whose height the
// user changes by dragging its top edge. It keeps its place when the parent is resized.
class TSizePanel : public QFrame {
    Q_OBJECT

public:
    static constexpr int kGripHeight = 5;
    static constexpr int kMinHeight = 40;

    explicit TSizePanel(QWidget* parent);

    int panelHeight() const { return m_height; }
    void setPanelHeight(int height);
    // The inner widget that holds the panel's contents, under the grip.
    QWidget* contents() const { return m_contents; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    class Grip;
    void place();

    int m_height = 185;
    QWidget* m_contents = nullptr;
};

} // namespace kelvane::ui

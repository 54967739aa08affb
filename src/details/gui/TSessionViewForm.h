#pragma once

#include "toolkit/MessageService.h"

#include <QString>
#include <QWidget>

class QToolButton;

namespace kelvane {
class TMainDataModule;
}

namespace kelvane::ui {

class TDiagramNode;
class TNodeDiagram;

// All events of one session as a chain of boxes, in a window of its own. Opened with no owner, it
// frees itself on closing, and the detail forms opened from it close with it. It reads the session
// once, when it is first shown, and is not refreshed.
class TSessionViewForm : public QWidget {
    Q_OBJECT

public:
    explicit TSessionViewForm(TMainDataModule& data, QWidget* owner = nullptr);

    // The GUID to show; set before the window is shown.
    void setSessionGUID(const QString& guid) { FFSessionGUID = guid; }

    // Makes a window with no owner for the session and shows it, centred on `anchor` (the window it
    // was opened from) when one is given.
    static TSessionViewForm* openSession(TMainDataModule& data, const QString& guid,
                                         const QWidget* anchor = nullptr);

    TNodeDiagram* diagram() const { return EventsDiagram; }
    // The root of the drawing; null before the window is shown and when the session is too long.
    TDiagramNode* firstNode() const { return FFirstNode; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void FormShow();
    void EventsDiagramDblClick();
    void EventsDiagramDeletion(TDiagramNode* node);
    void SpeedButtonZoomClick();
    void SpeedButtonExportClick();

    QWidget* PanelMainDrawing = nullptr;
    QWidget* PanelDrawingOptions = nullptr;
    QToolButton* SpeedButtonZoom = nullptr;
    QToolButton* SpeedButtonExport = nullptr;
    TNodeDiagram* EventsDiagram = nullptr;
    MessageService::SaveDialog scSaveDialogExportToBMP{"Export Diagram to Bitmap", "BMP Files (*.BMP)",
                                                       QString(), true};

    TMainDataModule& m_data;
    QString FFSessionGUID;
    TDiagramNode* FFirstNode = nullptr;
    bool m_shown = false;
};

} // namespace kelvane::ui

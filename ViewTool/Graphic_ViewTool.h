#pragma once
// The abstract interaction tool. The view owns exactly one tool at a time
// and hands every mouse, wheel and paint event to it.
#include <QObject>
#include <QString>
#include <QVector>
#include <functional>
#include <initializer_list>

#include "PluginMetaData.h"

class QMouseEvent;
class QWheelEvent;
class QKeyEvent;
class QPainter;
class QEvent;

namespace TOLVA {
namespace GRAPHIC {

class ViewWidget;

class Graphic_ViewTool : public QObject {
    Q_OBJECT
public:
    enum GRAPHIC_TOOL_TYPE : qint32 {
        NORMAL_TOOL = 0,
        SELECT_TOOL = 1,
        DELETE_TOOL = 2,
        RULER_TOOL = 3,
        ZOOMIN_TOOL = 4,
        POPVIEW_TOOL = 5,
        MOVE_COPY_TOOL = 8,
        LINE_EDIT_TOOL = 9,
        PULL_TOOL = 13,
        TEXT_INFO_TOOL = 14,
        PROFILE_BOUND_TOOL = 16,
        ALLIGN_HOLE_TOOL = 17,
        EDIT_TOOL = 25,
        REGION_DIVISION_TOOL = 26,
        REGION_DIVISION_TOOL_2 = 27,
        SNAP_TOOL = 28,
        ROTATE_TOOL = 29,
        DRAW_SYMBOL_TOOL = 30,
        MOVE_COPY_SAME_LAYER_TOOL = 31,
        POINT_TOOL = 32,
        EDIT_BUFFER_TOOL = 33,
        STEP_REPEAT_TOOL = 34,
        SR_SELECT_TOOL = 35,
        ROUT_TOOL = 36,
        NOTES_TOOL = 37,
        MARK_TOOL = 38,
    };
    Q_ENUM(GRAPHIC_TOOL_TYPE)

    Graphic_ViewTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type);
    ~Graphic_ViewTool() override;

    virtual void midButtonPress(QMouseEvent* event) = 0;
    virtual void midButtonRelease(QMouseEvent* event) = 0;
    virtual void leftButtonPress(QMouseEvent* event) = 0;
    virtual void leftButtonRelease(QMouseEvent* event) = 0;
    virtual void leftButtonDoubleClick(QMouseEvent* event) = 0;
    virtual void auxMouseEvent(QMouseEvent* event) = 0;
    virtual void midButtonDoubleClick(QMouseEvent* event) = 0;
    virtual void rightButtonRelease(QMouseEvent* event) = 0;
    virtual void wheel(QWheelEvent* event) = 0;
    virtual void mouseMove(QMouseEvent* event) = 0;
    virtual void auxEvent(QEvent* event) = 0;
    virtual void paint(QPainter* painter) = 0;
    virtual void toolKeyPress(QKeyEvent* event) = 0;
    virtual void setWorkParam(PluginMetaData* msg) = 0;

    GRAPHIC_TOOL_TYPE getType() const { return m_type; }

protected:
    // Arrow keys pan the view by kArrowPanPixels (the tools' own direction).
    void panByArrowKey(QKeyEvent* event);
    // The wheel's primary delta: vertical, or horizontal for a sideways wheel.
    static int wheelDelta(const QWheelEvent* event);
    // The normal tool's wheel: zoom out for a delta below 1, in otherwise.
    void zoomByWheel(QWheelEvent* event);
    // The normal tool's middle drag: remember the press, pan on release
    // unless the drag has no horizontal component.
    void rememberMiddlePress(QMouseEvent* event);
    void panOnMiddleRelease(QMouseEvent* event);
    void logInit(const char* prefix) const;
    void logTypeError(const char* prefix) const;

    static constexpr int kArrowPanPixels = 50;

    ViewWidget* m_view;
    GRAPHIC_TOOL_TYPE m_type;
    int m_pressX = 0;
    int m_pressY = 0;
    int m_currentX = 0;
    int m_currentY = 0;
    int m_aux[4] = {-1, -1, -1, -1};
    QString m_text;
};

// The base of every concrete tool: each operation takes the event and does
// nothing with it, the arrow keys pan, and work parameters other than the
// tool's own request codes are logged as a type error with the tool's prefix.
// Tools override only what they do; a tool whose behaviour is not settled
// yet is a DefaultTool as it stands.
class DefaultTool : public Graphic_ViewTool {
    Q_OBJECT
public:
    DefaultTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix,
                std::initializer_list<qint32> knownCodes = {});
    void midButtonPress(QMouseEvent* event) override;
    void midButtonRelease(QMouseEvent* event) override;
    void leftButtonPress(QMouseEvent* event) override;
    void leftButtonRelease(QMouseEvent* event) override;
    void leftButtonDoubleClick(QMouseEvent* event) override;
    void auxMouseEvent(QMouseEvent* event) override;
    void midButtonDoubleClick(QMouseEvent* event) override;
    void rightButtonRelease(QMouseEvent* event) override;
    void wheel(QWheelEvent* event) override;
    void mouseMove(QMouseEvent* event) override;
    void auxEvent(QEvent* event) override;
    void paint(QPainter* painter) override;
    void toolKeyPress(QKeyEvent* event) override;
    void setWorkParam(PluginMetaData* msg) override;

    const PluginMetaData& lastParam() const { return m_lastParam; }

protected:
    // For tools that write an init line of their own instead of the
    // passive tools' "<prefix> : INIT".
    DefaultTool(ViewWidget* view, GRAPHIC_TOOL_TYPE type, const char* logPrefix, const char* initLine);

    const char* m_prefix;
    QVector<qint32> m_knownCodes;  // requests that configure this tool
    PluginMetaData m_lastParam;    // the last of them
};

// The factory: the tool class for `type` (a normal tool for values without a
// class of their own); null if the allocation fails.
Graphic_ViewTool* createTool(ViewWidget* view, Graphic_ViewTool::GRAPHIC_TOOL_TYPE type);

// Stands in for the factory's table in every later createTool call and
// returns the previous stand-in; an empty function restores the table. Lets
// a test play an allocation failure or a tool that throws while it is built.
using ToolFactory = std::function<Graphic_ViewTool*(ViewWidget*, Graphic_ViewTool::GRAPHIC_TOOL_TYPE)>;
ToolFactory setToolFactory(ToolFactory factory);

}  // namespace GRAPHIC
}  // namespace TOLVA

#pragma once
// The canvas of one step of one job: the host loads it as a plug-in and
// drives it through messages. The class keeps the view state and forwards
// input to the active tool; the arithmetic lives in core/.
#include <QList>
#include <QPixmap>
#include <QPoint>
#include <QPointF>
#include <QPointer>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <optional>
#include <QMessageBox>
#include <QWidget>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "PluginMetaData.h"
#include "TOLVA_Imaging.h"
#include "TOLVA_API_types.h"
#include "TOLVA_Fill.h"
#include "ViewTool/Graphic_ViewTool.h"
#include "core/message_routes.h"
#include "core/view_settings.h"
#include "core/view_transform.h"
#include "overlay_records.h"

class QMenu;
class QAction;
class QTimer;
class QPainter;
class QLineF;
class Widget_PopView;
class Widget_TVDI_Export;
class Widget_MarkSetting;
class Widget_Fill;

#if defined(_WIN32)
#  define GRAPHIC_VIEW_EXPORT
#else
#  define GRAPHIC_VIEW_EXPORT __attribute__((visibility("default")))
#endif

namespace TOLVA {
namespace STEP {
struct sr_instance;
struct sr_ref;
}  // namespace STEP

namespace GRAPHIC {

class ViewWidget;
struct StepRepeatState;           // step_repeat.h
enum class InstanceSelect : int;  // step_repeat.h
using MessageHandler = void (*)(ViewWidget& view, const PluginMetaData& msg);
using ViewRoute = MessageRoute<MessageHandler>;

// A shown layer: its name and palette index.
struct ShownLayer {
    QString name;
    int color = 0;
};

// A remembered tool configuration.
struct ToolParam {
    PluginMetaData header;
    Graphic_ViewTool::GRAPHIC_TOOL_TYPE type;
    PluginMetaData message;
};

class GRAPHIC_VIEW_EXPORT ViewWidget : public QWidget {
    Q_OBJECT
public:
    using GRAPHIC_TOOL_TYPE = Graphic_ViewTool::GRAPHIC_TOOL_TYPE;

    explicit ViewWidget(QWidget* parent = nullptr);
    ~ViewWidget() override;

    // ---- plug-in frame ---------------------------------------------------
    bool Graphic_view_init(QString job, QString step);
    void setJobAndStep(PluginMetaData msg);
    QWidget* InitViewBar();
    QList<Widget_PopView*> get_popviews() const;
    void show_marksetting();
    void recMsgFromManager(PluginMetaData msg);
    // The dispatcher table, sorted by code.
    static RouteTable<MessageHandler> messageRoutes();

    void* host() const { return m_host; }
    QString jobName() const { return m_job; }
    QString stepName() const { return m_step; }
    // The overlays of a paint onto `painter`, over whatever it holds: a
    // picture of the view without a display is the background brush with
    // these on top. Invokable so that a host that loads the view by name
    // reaches it through the meta-object.
    Q_INVOKABLE void paintOverlays(QPainter* painter);

    // ---- messages out ----------------------------------------------------
    void send_step_box();
    void sendJobListChangeSelectedIcon();
    void forwardPointInfo(const QPointF& point);
    void forwardMovePointInfo(const QPointF& point);
    void forwardCopyPointInfo(const QPointF& point);
    void forwardAttributePointInfo(const QString& receiver, qint32 code, const API::attr_map& attributes);
    void forwardFilterAttributePointInfo(const QString& attributeType);
    void forwardCreateSymbolPointInfo(const QPointF& point);
    void forwardChangeSymbolPointInfo(const QString& receiver, const QString& symbol);
    void forwardChangeTextPointInfo(const QString& text, bool positive);
    void forwardSubstitutePointInfo(const QPointF& point);
    void forwardStepRepeatPointInfo(const QPointF& point);
    void forwardSRcopypcsoffsetInfo(double xOffset, double yOffset);
    // ---- forwards about picked points and features (keys where they are built,
    //      graphic_view_dispatch.cpp) --------------------------------------
    using LayerFeatures = std::map<std::string, std::vector<API::featureInfo>>;
    void forwardMovePointInfo(const QPointF& from, const QPointF& to);
    void forwardCopyPointInfo(const QPointF& from, const QPointF& to);
    void forwardSubstitutePointInfo(const QPointF& point, const LayerFeatures& features);
    void forwardChangeSymbolPointInfo(const QString& receiver, const std::string& layer, const API::featureInfo& feature);
    void forwardChangeTextPointInfo(const std::string& layer, const API::featureInfo& feature);
    void forwardAttributePointInfo(const QString& receiver, qint32 code, const std::string& layer,
                                   const API::featureInfo& feature);
    void forwardFilterAttributePointInfo(const std::string& layer, const API::featureInfo& feature);
    // The selected features of the work and affected layers (empty on a kernel failure).
    LayerFeatures selectedEditFeatures();
    // The symbol the draw-symbol tool draws with ("symbol" of request 50).
    QString currentSymbol() const { return m_currentSymbol; }
    void setCurrentSymbol(const QString& symbol) { m_currentSymbol = symbol; }
    // Requests 20001802, 20001803, 20001805, 20001809, 20001814: a plug-in asks
    // for a point (PointTool); the answer comes back with the same code.
    void doPointSelect(PluginMetaData msg);

    // ---- configuration and units -----------------------------------------
    void readCfgFile();
    void CheckDir(QString path);
    void change_unit(const PluginMetaData& msg);
    bool Is_current_Unit_MM();
    void setText();
    const ViewSettings& settings() const { return m_settings; }
    QString unitText() const { return m_unit; }

    // ---- coordinates -----------------------------------------------------
    void set_scale(double scale);
    void view2db(int px, int py, double& x, double& y);
    void view2db_by_input(int height, int width, double scale, double cx, double cy, int px,
                          int py, double& x, double& y);
    void db2view(double x, double y, int& px, int& py);
    double get_scale(int w, int h, int x1, int y1, int x2, int y2, bool& fitsWidth);
    void update_scale(int w, int h, int x1, int y1, int x2, int y2);
    void update_center(int w, int h, int x0, int y0, int, int);
    void real_box(double& minX, double& minY, double& maxX, double& maxY);
    void doRotate();
    double scale() const { return m_scale; }
    int angle() const { return m_angle; }
    QPointF center() const { return {m_cx, m_cy}; }
    const std::vector<API::point>& realBoxPoints() const { return m_realBoxPoints; }
    // The transform at the widget's current size.
    ViewTransform transform() const;
    // A widget point in board units (the one conversion every tool uses).
    QPointF toBoard(const QPoint& pixel);
    // The +-`radius` pixel box around a widget point, in board units,
    // normalised; empty when no layer is open.
    QRectF clickBox(const QPoint& pixel, int radius = kClickBoxRadius);
    static constexpr int kClickBoxRadius = 2;

    // ---- navigation ------------------------------------------------------
    void zoom2fit(API::reply_box& box);
    void zoom2fit(double x1, double y1, double x2, double y2);
    void areazoom(double x1, double y1, double x2, double y2);
    void zoom2box(double x1, double y1, double x2, double y2);
    void zoom_to_cur_box();
    void scaleUp();
    void scaleDown();
    void wheelScaleUp(const QPointF& pos);
    void wheelScaleDown(const QPointF& pos);
    void specifyfactordraw(double a, double b);
    void move(int dx, int dy);
    void centercoordinate(double x, double y);
    void redoZoomin();
    QList<QVector<QPointF>>* getZoomINStack() { return &m_zoomHistory; }
    void pushZoomHistory();
    void snakeleftbottomdraw();
    void snakerighttopdraw();
    void snakemiddledraw();
    int snake1();
    double profileLenth();
    double profileWidth();
    const QList<double>& snakeColumns() const { return m_snakeColumns; }
    const QList<double>& snakeRows() const { return m_snakeRows; }
    const QList<QPointF>& snakePoints() const { return m_snakePoints; }
    static constexpr int kZoomHistoryLimit = 50;

    // ---- rendering -------------------------------------------------------
    void draw();
    void refresh();
    QStringList get_show_layers() const;
    void setShownLayers(const QList<ShownLayer>& layers);
    const QList<ShownLayer>& shownLayers() const { return m_shownLayers; }
    void setHighlightLayers(const QStringList& first, const QStringList& second);
    void setNotesLayer(const QString& layer) { m_notesLayer = layer; }
    QString notesLayer() const { return m_notesLayer; }
    // The layer sets whose selected features are drawn highlighted.
    const QStringList& highlightLayers(int set) const { return set == 0 ? m_highlightFirst : m_highlightSecond; }
    bool hasProfile() const { return m_hasProfile; }
    // The composed picture (null before the first draw).
    const unsigned char* compositionBuffer() const { return m_composition.get(); }
    QSize compositionSize() const { return m_compositionSize; }
    // Where the last draw() spent its time: kernel rendering and blending.
    struct DrawTimings {
        double kernelMs = 0;
        double blendMs = 0;
    };
    const DrawTimings& lastDrawTimings() const { return m_drawTimings; }
    // Palette colour of an index; indices outside 0..9 use index 9 (white).
    static QColor paletteColor(int index);

    // ---- paint pipeline ----------------------------------------------------
    void draw_TVDI_items(QPainter* painter);
    void Draw_rout_info(QPainter* painter, const QStringList& routLayers, const QString& step);
    void draw_relative_origin(QPainter* painter);
    void draw_check_points(QPainter& painter, const check_points& point);
    void draw_shape(QPainter* painter, const MeasurementShape& shape);
    void draw_arc(QPainter* painter, const QPointF& start, const QPointF& end, const QPointF& centre,
                  int width, bool clockwise);
    void Drawline_by_mode(QPainter& painter, int width, QLineF& line, Qt::PenCapStyle cap);
    void Drawarc_by_mode(QPainter& painter, const bool& clockwise, const QPointF& start,
                         const QPointF& end, const QPointF& centre, int width, QRectF& rect,
                         double& startAngle, double& spanAngle);
    int get_width_mode();
    void draw_center(PluginMetaData msg);
    void clear_current_cross_point();
    // Overlay state that later features fill.
    void setCrossPoint(const QPointF& point) { m_crossPoint = point; }
    QPointF crossPoint() const { return m_crossPoint; }
    void setRelativeOrigin(const QPointF& origin);
    void clearRelativeOrigin() { m_hasRelativeOrigin = false; }
    void setPolyline(const QVector<QPointF>& points) { m_polyline = points; }
    const QVector<QPointF>& polyline() const { return m_polyline; }
    void setEditShape(int slot, const EditShape& shape);
    void clearEditShapes();
    // The shape shown in `slot`, or null when the slot is empty.
    const EditShape* editShape(int slot) const {
        return slot >= 0 && slot < kEditShapeSlots && m_editShapeSet[slot] ? &m_editShapes[slot] : nullptr;
    }
    void setCheckPoints(const QList<check_points>& points) { m_checkPoints = points; }
    const QList<check_points>& checkPoints() const { return m_checkPoints; }
    void setCurrentCheckPoint(const check_points& point) { m_currentCheckPoint = point; }
    void setCurrentMeasurement(const MeasurementShape& shape) { m_currentMeasurement = shape; }
    void setMeasurements(const QList<MeasurementShape>& shapes) { m_measurements = shapes; }
    const MeasurementShape& currentMeasurement() const { return m_currentMeasurement; }
    const QList<MeasurementShape>& measurements() const { return m_measurements; }
    // A finished measurement becomes the current one (the one before joins
    // the list) and its result goes to the coordinate read-out (MeasureMessages.h).
    // `replacesCurrent`: the result completes the current one (a ruler
    // continued into a polyline) instead of following it.
    void recordMeasurement(const MeasurementShape& shape, const QVariantMap& result, bool replacesCurrent = false);
    void clearMeasurements();
    // Tells the coordinate read-out why a measure changed nothing.
    void sendMeasureNotice(const QString& text);
    // The candidate snap point under the cursor while a point-taking tool is
    // active and snapping is on.
    bool hasSnapCandidate() const { return m_hasSnapCandidate; }
    QPointF snapCandidate() const { return m_snapCandidate; }
    // The layers a measure picks features from: the work layer, then the shown layers.
    std::vector<std::string> measureLayers() const;
    static constexpr int kPaintThrottleMs = 50;

    // ---- tools -----------------------------------------------------------
    void changeTool(GRAPHIC_TOOL_TYPE type);
    // Transforms the selection of the edit layers as the request's data says.
    void transform_selection(PluginMetaData msg);
    // Re-spaces the selected traces of the work layer (a bus), or previews it.
    void bus_edit(PluginMetaData msg);
    // Installs the rotate tool, which the factory does not make.
    void startRotateTool();
    // The union of the extents of the selected features of `layers`.
    std::optional<QRectF> selectionExtent(const std::vector<std::string>& layers);
    void change_to_select_tool();
    void change_to_last_tool();
    void reset_tool_status();
    void add_tool_param(GRAPHIC_TOOL_TYPE type, const PluginMetaData& msg);
    Graphic_ViewTool* currentTool() const { return m_tool; }
    const PluginMetaData& lastToolMessage() const { return m_lastToolMsg; }
    const QList<ToolParam>& toolParams() const { return m_toolParams; }
    QVector<QPointF>& polygonPoints() { return m_polygonPoints; }
    QString coordinateText() const { return m_coordinateText; }
    QMenu* contextMenu() const { return m_menu; }
    int rightClickCount() const { return m_rightClickCount; }
    QPointF lastMousePos() const { return m_lastMousePos; }
    bool cur_layers_exist();
    // Snap search within `box` near `point` (board units); true and the
    // snapped point in `snapped` when the kernel finds one.
    bool on_snap_mode_point_check(const QRectF& box, const QPointF& point, QPointF& snapped);
    bool get_shift_state() const;
    static constexpr int kMenuDelayMs = 200;

    // Tool-opening requests.
    void doSignalBoxSelect(PluginMetaData msg);
    void diSignalBoxDelete(PluginMetaData msg);
    void doMoveAndCopySelect(PluginMetaData msg);
    void doLineEditSelect(PluginMetaData msg);
    void doPullFeatureSelect(PluginMetaData msg);
    void doOpenPopView(PluginMetaData msg);
    void doMeasureSelect(PluginMetaData msg);
    void do_mark(PluginMetaData msg);
    void draw_use_symbol(PluginMetaData msg);
    void change_SR_Edit_tool(PluginMetaData msg);
    void change_Notes_tool(PluginMetaData msg);
    void change_step_repeat_tool(PluginMetaData msg);
    void change_SRselect_tool(PluginMetaData msg);
    void doDeletePopView(PluginMetaData msg);
    // 20000270: opens the tool named by "Tool" (graphic_view_input.cpp).
    void doOpenEditTool(PluginMetaData msg);
    // Opens a pop-view inset on a board area.
    void openPopView(const QRectF& boardArea);

    // ---- reference marks (Graphic_view_Marks) ----------------------------
    // The mark-setting dialog (created hidden on first use), offering the
    // job's layers.
    Widget_MarkSetting* markSetting();
    // The dialog when it has been made, else null (nothing is created).
    Widget_MarkSetting* existingMarkSetting() const;
    // Places the mark the dialog describes at `at` (board units) on its
    // layers as one undo step; refused with a message, nothing written, when
    // the mark with its clearance does not lie inside the step's profile.
    bool placeMark(const QPointF& at);
    // A length in the display unit with its unit ("12.5000 mm").
    QString lengthText(double nanometres);

    // ---- review notes (Graphic_view_Notes) -------------------------------
    // The layer notes go on: the notes layer when one is shown, else the work layer.
    QString noteTargetLayer() const;
    // Asks for the text and pins a note on noteTargetLayer() at `box` (board
    // units; a point when it has no extent): one undo step. The note's id, 0
    // when the operator gave no text or the kernel refused.
    int pinNote(const QRectF& box);
    // The note of the notes layer under a widget pixel, 0 for none.
    int noteAtPixel(const QPoint& pixel);
    // The note the notes tool picked (0 for none); drawn highlighted.
    int selectedNote() const { return m_selectedNote; }
    void setSelectedNote(int id);
    // Asks for a new text of note `id`.
    bool editNote(int id);
    bool resolveNote(int id, bool resolved);
    bool deleteNote(int id);
    // Who notes are written by ("Author" of request 20000263; the login
    // name until then).
    QString noteAuthor() const;
    // 20000269: pins a note on the current check point (its box, or its
    // position) on the check's first layer, the notes layer when it has none;
    // the text is "Text" or the check point's label. The sender gets 20000269
    // back with "NoteId", or "Error" saying why nothing was pinned.
    void add_note_from_check_point(PluginMetaData msg);

    // ---- state flags set by messages -------------------------------------
    bool optionFlag(int which) const;  // 1..4
    bool displayFlag() const { return m_displayFlag; }
    bool tvdiMode() const { return m_tvdiMode; }
    bool statusFlag(int which) const;  // 1..3, the flags after the TVDI mode flag
    void setStatusFlag(int which, bool on);
    void setHoleFlags(bool first, bool second, bool third);
    // Keys of the TVDI messages that report the export session's holes.
    static const QString kPositioningHolesKey;
    static const QString kHoleLayerKey;
    static const QString kExportLayersKey;
    // ---- imaging export session (Graphic_view_TVDI.cpp) ------------------
    // The holes picked from the context menu, in board units.
    const std::vector<IMAGING::reg_hole>& tvdiGlobalHoles() const;
    const std::vector<IMAGING::reg_hole>& tvdiAreaHoles() const;
    // What an export would be made with now (the frame the overlay shows).
    IMAGING::export_param tvdiExportParam() const;
    // Request 20004410: opens the export dialog.
    void show_tvdi_export(PluginMetaData msg);
    Widget_TVDI_Export* tvdiExportDialog() const;
    int currentSnapMode() const { return m_snapMode; }
    const std::string& snapLayer() const { return m_snapLayer; }

    // ---- layers of the edit operations -------------------------------------
    std::string work_layer;
    std::vector<std::string> affected_layers;
    API::attr_map symbol_attributes;
    std::vector<std::vector<std::string>> pending_feature_strings;

    // ---- feature creation (graphic_features_op) ---------------------------
    bool add_feature_confirm();
    void add_features();
    void set_line_feature_content(const std::string& symbol, const std::vector<API::feature_point>& lines, int polarity, int dcode);
    void set_pad_feature_content(const std::string& symbol, const QVector<QPointF>& centres, int a, int b, int c, double scale);
    void set_arc_feature_content(const std::string& symbol, const std::vector<API::feature_point>& arcs, int polarity, int dcode, bool clockwise);
    void set_surface_feature_content(const std::vector<API::lPoint>& points, int a, int b, bool c);
    void repeat_selected_features(PluginMetaData msg);
    // Payload of the repeat request: the grid, in board units.
    struct RepeatParameters {
        qint32 countX = 1;
        qint32 countY = 1;
        double stepX = 0;
        double stepY = 0;
    };
    static constexpr long long kRepeatFeatureLimit = 10000000;
    bool repeatRunning() const { return m_repeatRunning; }
    void set_symbol_attributes(PluginMetaData msg);
    void draw_use_symbol_line(PluginMetaData msg);
    void show_contour_fill_parameters(PluginMetaData msg);

    // ---- contour fill (Graphic_view_Fill) ----------------------------------
    // Each writes the fill to the work (and affected) layers as one batch, one
    // undo step; false when it was refused or failed (the reason is shown)
    // and nothing was written.
    bool fill_solid(const FILL::region& area);
    bool fill_contour_with_lines(const FILL::region& area, const FILL::hatch_params& params);
    bool fill_contour_with_pads(const FILL::region& area, const FILL::pad_params& params);
    // The contour named by a Widget_Fill::Source, from the work layer's selection.
    bool fillContour(int source, FILL::region& area);
    Widget_Fill* fillDialog() const;

    // ---- edit buffer, move and copy (Graphic_view_CopyAndMove) -----------
    bool check_active_layers(std::vector<std::string>& layers, bool ask_all);
    void do_buffer_tool_change(PluginMetaData msg);
    void clear_eidt_buffer();
    bool is_feature_isExist(const std::string& layer, const API::featureInfo& info);
    void get_offset(PluginMetaData msg);
    // Takes back the job's last kernel edit and redraws; false when there
    // was nothing to undo. The editing tools' dealWithUndo() ends here.
    bool undoLastEdit();

    // ---- selection (Graphic_FilterSelection) -----------------------------
    void send_filter_selection_info(QRectF box, bool first, bool select);
    // The job list's answers to net and contour requests.
    void select_net_items(const PluginMetaData& msg);
    void select_contour_items(const PluginMetaData& msg);
    void takeAttributeFilter(const PluginMetaData& msg);
    const API::select_filter& attributeFilter() const { return m_attributeFilter; }
    static constexpr qint32 kNetAnswerCode = 20000246;
    static constexpr qint32 kContourAnswerCode = 20000247;

    // ---- rout chains (Graphic_view_Rout) ----------------------------------
    void get_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end, QPointF& outStart, QPointF& outEnd);
    void Get_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end, QPointF& outStart, QPointF& outEnd);
    void get_arc_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end, const QPointF& centre, const QString& direction, QPointF& outStart, QPointF& outEnd);
    void Get_arc_post_comp_pt(const int& mode, const int& toolSize, const QPointF& start, const QPointF& end, const QPointF& centre, const QString& direction, QPointF& outStart, QPointF& outEnd);
    double get_bites_num(const double& value, int digits);
    void create_rout_chain(const PluginMetaData& msg);
    void do_compensate(PluginMetaData& msg);
    void add_chain_do_apply();
    void get_rout_selectorder(PluginMetaData msg);
    void do_drawchain(PluginMetaData msg);
    void get_addchain_vector(PluginMetaData msg);
    void update_rout_info();
    // One entry of a rout chain (rout_chain.h).
    struct chain_info;
    std::vector<chain_info> get_merged_chains_info(const std::vector<chain_info>& chain);
    bool calculate_features_interection(const chain_info& first, const chain_info& second, QPointF& crossing);
    int delete_interection_feature(std::vector<chain_info>& path);
    void arrange_selected_chain(std::vector<chain_info>& chain);
    void receive_order_index(const QList<int>& order);
    // The chains of the view in cutting order.
    std::vector<std::vector<chain_info>> routChains() const;
    // Writes a chain drawn with the rout tool into the job's rout attributes
    // (one undo step); `number` 0 takes the layer's next free number. False,
    // with the reason told, when the job refuses it.
    bool commit_rout_chain(std::vector<chain_info> chain, int number);
    // Puts the chains of a rout layer in the order that keeps the cutter's
    // air travel shortest (rout_order.h); one undo step when chains written
    // in the job are renumbered. False when the order stays as it was.
    bool optimise_chain_order(const std::string& layer);
    // The chain's feeds and speeds under a widget pixel, as the tooltip shows
    // them; empty where no shown chain is.
    QString routTipAt(const QPoint& pixel);
    // The order of the chains as the rout menu receives it (20003902).
    void send_rout_order();

private:
    // Rout drawing (rout_paint.cpp): the chains read again when the job
    // changed, and their cutter paths worked out once per change.
    void refreshRoutForPaint();
    struct RoutState;  // rout_chain.h
    void paintRoutPass(QPainter& painter, const QStringList& routLayers);
    std::shared_ptr<RoutState> m_rout;
    RoutState& routState();
    void storeRoutChain(std::vector<chain_info> entries, int number);
    bool createCompensationLayer(const std::string& layer, const std::string& type, int& edits);
    bool writeCompensatedPath(const std::string& source, const std::string& destination);
    void rollBackEdits(int edits);
    void notifyMatrix();

public:
    // ---- analysis, DFM and notes ----------------------------------------
    void showNetAnalyzeResult(PluginMetaData msg);
    void get_analyze_data(PluginMetaData msg);
    void clear_result_viewer_painter(PluginMetaData msg);
    void get_DFM_data(PluginMetaData msg);
    void note_zoom_to_box(PluginMetaData msg);
    void change_layer_draw_note(PluginMetaData msg);
    void eq_zoomIn_special_points(PluginMetaData msg);
    void refresh_layer_compare_show(PluginMetaData msg);
    // The result the navigator stands on, as a position in checkPoints()
    // (navigator order); -1 when there is none.
    int currentCheckPosition() const { return m_checkPosition; }
    // The areas of the last layer comparison in the first layer only (0) and
    // in the second only (1), board units.
    const QVector<QPolygonF>& compareAreas(int side) const { return m_compareAreas[side ? 1 : 0]; }
    void setCompareAreas(int side, const QVector<QPolygonF>& rings) { m_compareAreas[side ? 1 : 0] = rings; }

    // ---- step and repeat (Graphic_view_Step) ------------------------------
    // Request keys: "Step" (the child step 20001418 places), "Angle" and
    // "Mirror" (its placement; "Angle" also turns the selection with
    // 20000259), "dx", "dy" (a typed move or copy, board units).
    static const QString kInstanceStepKey;
    static const QString kInstanceAngleKey;
    static const QString kInstanceMirrorKey;
    static const QString kInstanceDxKey;
    static const QString kInstanceDyKey;
    // A click box picks the instance under its centre, a dragged box the
    // instances wholly inside it; `how` replaces, adds to or takes from the
    // selection.
    void receive_SR_Select_box(QRectF box, InstanceSelect how);
    void selectAllInstances();
    void clearInstanceSelection();
    // The selected instances of the shown step, found again after an edit.
    const std::vector<STEP::sr_instance>& selectedInstances();
    QVector<QPolygonF> selectedInstanceOutlines();
    // An instance's placed profile (its placed box when the child has no profile).
    QPolygonF instanceOutline(const STEP::sr_instance& instance);
    // A step's profile in its own coordinates; empty without one.
    QPolygonF stepOutline(const QString& step);
    // Instance edits, each one undo step; false when nothing was done.
    bool placeStepInstance(const QString& child, const QPointF& at, double angle, bool mirror);
    bool moveSelectedInstances(double dx, double dy);
    bool copySelectedInstances(double dx, double dy);
    bool rotateSelectedInstances(double angle);
    bool deleteSelectedInstances();

private:
    std::shared_ptr<StepRepeatState> m_stepRepeat;
    StepRepeatState& stepRepeatState();
    std::vector<STEP::sr_instance> readInstances();
    void setInstanceSelection(std::vector<STEP::sr_instance> instances);
    bool editSelectedInstances(const char* what, const std::function<void(const std::vector<STEP::sr_ref>&)>& edit,
                               const std::vector<STEP::sr_instance>& after);

public:
    // ---- other requests of the dispatcher ---------------------------------
    void get_selected_layers(PluginMetaData msg);
    void get_clayer(PluginMetaData msg);
    void change_current_snap_mode(PluginMetaData msg);
    void get_archor_signal(PluginMetaData msg);
    void zoomIn_search_feature(PluginMetaData msg);
    void unselect_clip_area(PluginMetaData msg);
    void edit_coordinate_setting(PluginMetaData msg);
    void get_Mouse_rect(PluginMetaData msg);
    void sent_Mouse_Point(PluginMetaData msg);
    void get_coordinate_data(PluginMetaData msg);
    void on_enter_pressed(PluginMetaData msg);
    void get_coordinate_effect_layers(PluginMetaData msg);
    void setResizeHoleTmpData(PluginMetaData msg);

    // ---- typed coordinates, relative origin, feature search
    //      (graphic_view_coordinates, graphic_view_search) ----------------
    bool hasRelativeOrigin() const { return m_hasRelativeOrigin; }
    QPointF relativeOrigin() const { return m_relativeOrigin; }
    // Centres the view on a board point exactly, at the current scale.
    void centreOn(const QPointF& point);
    // Whether the active tool takes a typed coordinate as its next point.
    bool toolTakesPoints() const;
    // One feature a search found: layer, index, box and centre (board units).
    struct SearchHit {
        QString layer;
        int index = -1;
        QRectF box;
        QPointF centre;
    };
    const QList<SearchHit>& searchHits() const { return m_searchHits; }
    int currentSearchHit() const { return m_searchPosition; }

signals:
    void sendMsgToManager(PluginMetaData msg);
    void changeUnit();
    void GraphicEditorUndo();

public slots:
    void resetAllButtonStatus();
    void timerslot();
    void on_zoom_area();
    void on_counterelection();
    void on_Measure();
    void on_select_none();
    void on_select_feature();
    void on_select_area();
    void on_select_polygon();
    void on_select_layer_net();
    void on_select_board_net();
    void on_select_polyline();
    void on_add_global();
    void on_add_area();
    void on_add_posi_hole();
    void on_add_matrix_hole();
    void on_add_plum_hole();

    // Feature creation.
    void add_line_feature(std::string symbol, double x1, double y1, double x2, double y2, int a, int b);
    void add_pad_feature(std::string symbol, double x, double y, int a, int b, int c);
    void add_arc_feature(std::string symbol, QPointF start, QPointF end, QPointF centre, int a, int b, bool c);
    void add_surface_feature(const QVector<QPointF>& outline, int a, int b, bool c, bool d);
    void add_text_feature(QPointF position, const std::string text, int a, int b, double c, double d, double e, const std::string font, double f, int g);

    // Edit buffer, move and copy.
    void get_copy_or_cut_features();
    void get_tool_edit_copy_or_cut_features();
    void receive_Buffer_CpyAndCut();
    void receive_CopyOffset_box(QList<QRectF> boxes);
    void receive_MoveOffset_box(QList<QRectF> boxes);
    void receive_tool_edit_copy_and_cut(double dx, double dy, QObject* sender, bool copy);
    void RecieveMidbuttonclick();
    void delete_last_edit();
    // The move-and-copy tool's Ctrl+click: the feature in `box` replaces the selection.
    void getNewSelectedFeature(QRectF box);

    // Selection requests.
    void receive_text_box(QRectF box);
    void receive_rect_text_box(QRectF box);
    void receive_unselect_text_box(QRectF box);
    void receive_text_box_doubleClick(QRectF box);
    void receive_text_box_mid_doubleClick(QRectF box);
    void receive_select_invert_text_box(QRectF box);
    void receive_unselect_invert_text_box(QRectF box);
    void receive_change_polarity_textbox(QRectF box);
    void receive_polygon_box(QVector<QPointF> points);
    void receive_clip_area_box(QVector<QPointF> points);
    void receive_net_selection_box(QRectF box);
    void receive_net_unselection_box(QRectF box);
    void receive_select_polyLine_box(QRectF box);
    void receive_unselect_polyLine_box(QRectF box);
    void receive_select_BoardNet_box(QRectF box);
    void receive_select_LayerNet_box(QRectF box);
    void receive_HighLightTextBox(QRectF box);
    void receive_HighLightTextBox_double(QRectF box);
    void receive_unHighlightTextBox(QRectF box);
    void receive_HightLight_Rect_Box(QRectF box);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    friend struct ViewRoutes;

    // Messages out: (sender "Graphic_View.dll", receiver, code) with data.
    void sendTo(const QString& receiver, qint32 code, const QVariantMap& data = {},
                void* payload = nullptr);
    void sendBoxRequest(qint32 code, QRectF& box, const QVariantMap& data = {});
    // The redraw tail of every navigation: draw, refresh, send_step_box.
    void redrawTail();
    // zoom_to_cur_box and the redraw tail, a kernel failure reported.
    void redrawAtCurrentBox();
    // wheelScaleUp / wheelScaleDown by `factor` about a widget position.
    void zoomAboutPixel(const QPointF& pos, double factor);
    double profileExtent(bool alongX);
    // Tells the kernel `box` (board units) and centres the view on its lower-left corner.
    void showBox(const BoardBox& box);
    void applyTransform(const ViewTransform& t);
    void fitInstancesToPixels(ViewTransform& t, const API::reply_box& box);
    // Runs `body`; a kernel failure is logged and shown in an information box.
    template <class Body>
    bool guarded(const char* file, int line, Body&& body);
    // ---- editing helpers (graphic_features_op, Graphic_view_CopyAndMove) ----
    using FeatureBuilder = std::function<std::string(const std::string& layer, int symbolIndex)>;
    // The symbol's index in the layer's table, registered when missing.
    int symbolOn(const std::string& layer, const std::string& symbol);
    // work_layer, then every affected layer that differs from it, in order.
    std::vector<std::string> creationLayers() const;
    // affected_layers, then work_layer when it is set and not among them.
    std::vector<std::string> editLayers() const;
    void addOneFeature(const char* failure, const std::string* symbol, const FeatureBuilder& build, bool flag);
    void appendPending(const char* failure, const std::string* symbol,
                       const std::function<std::vector<std::string>(const std::string&, int)>& build);
    void sendMatrixUpdate();
    bool confirmMultiLayer(const QString& text, QMessageBox::StandardButtons buttons,
                           QMessageBox::StandardButton cancel);
    // The features of each layer of `layers` that is selected, keyed by layer.
    std::map<std::string, std::vector<API::featureInfo>> selectedFeatures(const std::vector<std::string>& layers);
    // The redraw after an edit: draw, refresh, rout information, job-list icon.
    void redrawAfterEdit();
    // Same-layer move or copy of the selection (of the whole layer set once
    // the operator accepted features outside the box) by (dx, dy).
    void applySameLayerOffset(bool copy, double dx, double dy);
    void offsetByBoxes(bool copy, const QList<QRectF>& boxes);
    bool m_repeatRunning = false;
    void applySelectionAnswer(const PluginMetaData& msg, const char* what);
    API::select_filter m_attributeFilter;
    void setBoolFromPayload(bool& flag, const PluginMetaData& msg);
    void resizeComposition(int w, int h);
    void resizeFirstTime(int w, int h);
    void resizeLater(int w, int h);
    // The kernel canvas at the widget's new size; a size the kernel refuses
    // caps the widget at the size it had, so that the window keeps showing
    // the last good picture instead of asking again on every redraw.
    void initCanvasOrKeepSize(int w, int h);
    void draw_popview_image(Widget_PopView* pop);
    void paintKernelOverlays(QPainter& painter);
    void paintPopViewMarks(QPainter& painter);
    void paintPolyline(QPainter& painter);
    void paintEditShapes(QPainter& painter);
    void paintCrossMarker(QPainter& painter);
    void paintSnapGrid(QPainter& painter);
    void paintRulerTicks(QPainter& painter, const QPointF& from, const QPointF& to);
    static QColor snapModeColour(int mode);
    QPoint labelPosition(const QPainter& painter, const QPoint& anchor, const QString& text);
    void paintSnapCandidate(QPainter& painter);
    // Snapping: the kernel's nearest point of the current mode within
    // `radius` board units; failures are logged (once while they repeat).
    bool snapNear(const QPointF& point, double radius, QPointF& snapped);
    bool takesPoints() const;
    void updateSnapCandidate(const QPoint& pixel);
    QPoint toPixel(const QPointF& board);
    void paintBusPreview(QPainter& painter);
    static void arcGeometry(bool clockwise, const QPointF& start, const QPointF& end, const QPointF& centre,
                            QRectF& rect, double& startAngle, double& spanAngle);
    void drawline(QPainter& painter, int width, QLineF& line, Qt::PenCapStyle cap);
    void drawarc(QPainter& painter, bool clockwise, const QPointF& start, const QPointF& end, const QPointF& centre,
                 int width, QRectF& rect, double& startAngle, double& spanAngle);
    void blendCanvas(const unsigned char* canvas);
    void buildContextMenu();
    void fillContextMenu();
    bool installTool(Graphic_ViewTool* fresh);
    void takeHoleState(const PluginMetaData& msg);
    void openToolFromRequest(PluginMetaData msg, GRAPHIC_TOOL_TYPE type, const qint32* modeCodes, int modeCount);
    std::string job() const { return m_job.toStdString(); }
    std::string step() const { return m_step.toStdString(); }
    API::reply_box queryProfileBox();
    void updateCoordinateReadout(const QPoint& pixel);
    void finishGestureByEnter();

    // Members in construction order.
    void* m_host = nullptr;
    Graphic_ViewTool* m_tool = nullptr;
    Graphic_ViewTool* m_lastTool = nullptr;
    QList<Widget_PopView*> m_popViews;
    double m_scale = 1.0;
    bool m_midButtonHeld = false;
    bool m_optionFlags[4] = {false, false, false, false};
    bool m_resizedOnce = false;
    QString m_job;
    QString m_step;
    QPoint m_pressPoint;
    QPoint m_mousePoint;
    QPointF m_dragAnchor;
    QPointF m_lastBoardPoint;
    QList<QRectF> m_selectionBoxes;
    QVector<QPointF> m_polygonPoints;
    QVector<QPointF> m_polyline;
    int m_integerSetting = 127;
    int m_snapMode = 7;
    QString m_unit = QStringLiteral("Inch");
    bool m_unitFlags[3] = {false, false, false};
    int m_indexA = -1;
    int m_indexB = -1;
    bool m_tvdiMode = false;
    QString firstDrillLayer();
    bool m_statusFlags[3] = {false, false, false};
    QPixmap m_pixmap;
    QString m_coordinateText;
    QString m_toolText;
    QTimer* m_menuTimer = nullptr;
    int m_rightClickCount = 0;
    QPointer<Widget_MarkSetting> m_markSetting;

    double m_cx = 0;
    double m_cy = 0;
    int m_angle = 0;
    std::vector<API::point> m_realBoxPoints;
    bool m_displayFlag = false;
    bool m_holeFlags[3] = {false, false, false};
    // Imaging export session (Graphic_view_TVDI.cpp).
    IMAGING::reg_hole holeAt(const QPoint& pixel);
    QString m_tvdiHoleLayer;
    QStringList m_tvdiExportLayers;
    std::vector<IMAGING::reg_hole> m_tvdiGlobalHoles;
    std::vector<IMAGING::reg_hole> m_tvdiAreaHoles;
    IMAGING::export_param m_tvdiParam;
    bool m_tvdiParamSet = false;
    QPointer<Widget_TVDI_Export> m_tvdiExport;

    PluginMetaData m_lastToolMsg;
    QList<ToolParam> m_toolParams;
    QPointF m_lastMousePos;
    QMenu* m_menu = nullptr;
    QMenu* m_holeMenu = nullptr;
    struct MenuActions {
        QAction* zoomArea = nullptr;
        QAction* measure = nullptr;
        QAction* selectNone = nullptr;
        QAction* selectFeature = nullptr;
        QAction* selectArea = nullptr;
        QAction* selectPolygon = nullptr;
        QAction* selectLayerNet = nullptr;
        QAction* selectBoardNet = nullptr;
        QAction* selectPolyline = nullptr;
        QAction* reverse = nullptr;
        QAction* addGlobal = nullptr;
        QAction* addArea = nullptr;
    } m_actions;

    QList<QVector<QPointF>> m_zoomHistory;
    QList<double> m_snakeColumns;
    QList<double> m_snakeRows;
    QList<QPointF> m_snakePoints;
    QPointF m_snakeScratch;

    std::unique_ptr<unsigned char[]> m_composition;
    QSize m_compositionSize;
    QList<ShownLayer> m_shownLayers;
    QStringList m_highlightFirst;
    QStringList m_highlightSecond;
    QString m_notesLayer;
    bool m_hasProfile = false;
    bool m_inResize = false;
    DrawTimings m_drawTimings;
    QString m_lastPaintError;

    QPointF m_crossPoint;
    bool m_hasRelativeOrigin = false;
    QPointF m_relativeOrigin;
    static constexpr int kEditShapeSlots = 4;
    EditShape m_editShapes[kEditShapeSlots];
    bool m_editShapeSet[kEditShapeSlots] = {false, false, false, false};
    // The lines a bus edit would put in, shown until it is made or dropped.
    std::vector<API::featureInfo> m_busPreview;
    int m_profilePixels[4] = {0, 0, 0, 0};  // profile corners on screen: lower-left x, y, upper-right x, y
    QList<check_points> m_checkPoints;
    check_points m_currentCheckPoint;
    int m_checkPosition = -1;
    QString m_resultsSender;  // the menu that sent the results, told of the current one
    QVector<QPolygonF> m_compareAreas[2];
    // Check results (Graphic_view_Analyze).
    void handleResultRequest(const PluginMetaData& msg, qint32 next, qint32 previous, qint32 goTo);
    void takeResults(const PluginMetaData& msg);
    bool showResultList(const PluginMetaData& msg, const QVariantList& items);
    void showCheckPoint(int position);
    void zoomToCheckPoint(const check_points& point);
    void paintCompareAreas(QPainter& painter);
    bool checkPointInView(const check_points& point);
    MeasurementShape m_currentMeasurement;
    QList<MeasurementShape> m_measurements;

    bool m_outsideBoxConfirmed = false;
    std::string m_snapLayer;

    // Typed coordinates and feature search.
    void refuseRequest(const PluginMetaData& msg, const QString& reason);
    void applyTypedPoint(const QPointF& point);
    void feedToolPoint(const QPointF& point);
    void shareRelativeOrigin();
    void announceCoordinateSettings();
    QStringList coordinateLayers() const;
    void showSearchHit(int position);
    bool m_typedPointPending = false;
    QPointF m_typedPoint;
    QList<SearchHit> m_searchHits;
    int m_searchPosition = -1;
    bool m_hasSnapCandidate = false;
    QPointF m_snapCandidate;
    QString m_lastSnapError;

    ViewSettings m_settings;
    QString m_currentSymbol;

    // Contour fill (Graphic_view_Fill).
    void runFillDialog();
    std::vector<int> selectedOfKind(std::initializer_list<int> kinds);
    bool writeFillBatch(size_t expected, const std::function<void()>& append);
    QPointer<Widget_Fill> m_fillDialog;

    // Marks and notes.
    bool refuseMark(const QString& reason);
    bool noteEdit(const char* what, const std::function<void()>& edit);
    int addNoteOn(const QString& layer, const QRectF& box, const QString& text);
    int m_selectedNote = 0;
    QString m_noteAuthor;
};

}  // namespace GRAPHIC
}  // namespace TOLVA

extern "C" {
GRAPHIC_VIEW_EXPORT QWidget* GetViewInstance(QWidget* parent);
GRAPHIC_VIEW_EXPORT void recMsgFromManager(void* view, PluginMetaData* msg);
}

#include "core/failure.h"

namespace TOLVA {
namespace GRAPHIC {

template <class Body>
bool ViewWidget::guarded(const char* file, int line, Body&& body) {
    try {
        body();
        return true;
    } catch (...) {
        reportFailure(this, file, line, std::current_exception(), tr("Information"));
        return false;
    }
}

}  // namespace GRAPHIC
}  // namespace TOLVA

#pragma once
// Dialogs shared by the plug-ins of the suite.
#include <QDialog>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QWidget>

#include "TOLVA_Imaging.h"

#if defined(_WIN32)
#  define WIDGET_COMMON_EXPORT
#else
#  define WIDGET_COMMON_EXPORT __attribute__((visibility("default")))
#endif

class QLabel;
class QPushButton;

// A pop-view inset: a small window showing one board area at its own zoom
// while the main view looks elsewhere. The wheel zooms about the cursor, a
// left drag pans, and a resize shows more or less board at the same zoom;
// each of these, and setBoardArea, emits imageWanted for the owner to render
// the new area at the window's size (setImage).
class WIDGET_COMMON_EXPORT Widget_PopView : public QWidget {
    Q_OBJECT
public:
    explicit Widget_PopView(QWidget* parent = nullptr);
    // Shows the board area (board units, y up) whole, widened to the
    // window's shape about its centre.
    void setBoardArea(const QRectF& area);
    // What the window shows now: left/top are the least x and y.
    QRectF boardArea() const;
    double unitsPerPixel() const { return m_unitsPerPixel; }
    // The board point under a pixel of the window.
    QPointF boardAt(const QPointF& pixel) const;
    // Points the user picked inside the inset (board units).
    void setPickedPoints(const QVector<QPointF>& points);
    QVector<QPointF> pickedPoints() const;
    void setImage(const QImage& image);
    QImage image() const;

signals:
    void closed(Widget_PopView* self);
    void imageWanted(Widget_PopView* self);

protected:
    void closeEvent(QCloseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    QPointF m_centre;
    double m_unitsPerPixel = 0;
    QPoint m_dragFrom;
    QVector<QPointF> m_points;
    QImage m_image;
};

// Parameters of a contour fill, shown in the shared display unit and kept in
// board units (nanometres), so that they survive a change of unit.
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class WIDGET_COMMON_EXPORT Widget_Fill : public QDialog {
    Q_OBJECT
public:
    enum Mode { Solid = 0, Hatch = 1, Pads = 2 };
    enum Source { SelectedSurface = 0, SelectedChain = 1, PanelOutsideInstances = 2 };
    struct Parameters {
        Mode mode = Hatch;
        Source source = SelectedSurface;
        double width = 254000;     // hatch pen
        double pitchX = 1000000;   // hatch pitch, pad pitch across
        double pitchY = 1000000;   // pad pitch up
        double angle = 45;         // hatch, degrees
        bool cross = false;        // hatch in both directions
        QString symbol = QStringLiteral("r500");
        bool staggered = false;
        double clearance = 250000;
        bool clip = false;         // pads cut by the contour: clipped, else dropped
    };
    explicit Widget_Fill(QWidget* parent = nullptr);
    // Shows `p` in the display unit of the moment.
    void setParameters(const Parameters& p);
    Parameters parameters() const;
    // The editors, for the operator's keyboard and for tests.
    QComboBox* modeBox() const { return m_mode; }
    QComboBox* sourceBox() const { return m_source; }
    QDoubleSpinBox* widthBox() const { return m_width; }
    QDoubleSpinBox* pitchXBox() const { return m_pitchX; }
    QDoubleSpinBox* pitchYBox() const { return m_pitchY; }
    QDoubleSpinBox* angleBox() const { return m_angle; }
    QDoubleSpinBox* clearanceBox() const { return m_clearance; }
    QLineEdit* symbolEdit() const { return m_symbol; }
    QCheckBox* crossCheck() const { return m_cross; }
    QCheckBox* staggeredCheck() const { return m_staggered; }
    QCheckBox* clipCheck() const { return m_clip; }
    QPushButton* okButton() const { return m_ok; }

private:
    void updateEnabled();
    double perUnit() const;
    QComboBox* m_mode;
    QComboBox* m_source;
    QDoubleSpinBox* m_width;
    QDoubleSpinBox* m_pitchX;
    QDoubleSpinBox* m_pitchY;
    QDoubleSpinBox* m_angle;
    QDoubleSpinBox* m_clearance;
    QLineEdit* m_symbol;
    QCheckBox* m_cross;
    QCheckBox* m_staggered;
    QCheckBox* m_clip;
    QPushButton* m_ok;
    QLabel* m_unitLabel;
};

// What the mark-setting dialog describes: one reference mark, lengths in
// board units (nanometres) whatever unit the dialog shows.
struct MarkSpec {
    enum Kind { Fiducial, Tooling };
    Kind kind = Fiducial;
    bool square = false;       // the symbol: round or square
    double size = 1.0e6;       // pad or hole diameter (side, for a square)
    double clearance = 1.0e6;  // per side, around the mark: mask opening and copper keep-out
    QStringList layers;        // the layers to place on
    QPointF at;                // the typed position
};

// Settings of the reference marks (fiducials and tooling holes): kind,
// symbol, size, clearance, layers and a typed position. Lengths show in the
// shared display unit and are converted when it changes; "Place" asks for a
// mark at the typed position (the view places it).
class QComboBox;
class QDoubleSpinBox;
class QListWidget;
class QPushButton;
class WIDGET_COMMON_EXPORT Widget_MarkSetting : public QDialog {
    Q_OBJECT
public:
    explicit Widget_MarkSetting(QWidget* parent = nullptr);
    QString unitText() const;
    int unitChanges() const { return m_unitChanges; }

    MarkSpec spec() const;
    void setSpec(const MarkSpec& spec);
    // The layers offered, in matrix order; the ones checked before stay checked.
    void setAvailableLayers(const QStringList& layers);
    QStringList availableLayers() const;

    // The editors, for a caller that drives the dialog as the operator does.
    QComboBox* kindBox() const { return m_kind; }
    QComboBox* symbolBox() const { return m_symbol; }
    QDoubleSpinBox* sizeBox() const { return m_size; }
    QDoubleSpinBox* clearanceBox() const { return m_clearance; }
    QDoubleSpinBox* xBox() const { return m_x; }
    QDoubleSpinBox* yBox() const { return m_y; }
    QListWidget* layerList() const { return m_layers; }
    QPushButton* placeButton() const { return m_place; }

signals:
    // "Place": a mark as spec() says, at its typed position.
    void placeRequested();

public slots:
    void change_unit();

private:
    // Nanometres per shown unit.
    double unitFactor() const;

    QLabel* m_unitLabel;
    QString m_unit;
    int m_unitChanges = 0;
    QComboBox* m_kind;
    QComboBox* m_symbol;
    QDoubleSpinBox* m_size;
    QDoubleSpinBox* m_clearance;
    QDoubleSpinBox* m_x;
    QDoubleSpinBox* m_y;
    QListWidget* m_layers;
    QPushButton* m_place;
};

// The direct-imaging export: the layers of a step as 1-bit images
// (TOLVA_Imaging.h) with resolution, rotation, mirror, scale compensation,
// negative, resize, output folder and file name format. "Export" runs the
// kernel's export behind a progress dialog and lists the files it wrote, or
// the reason it refused, in the dialog itself.
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class WIDGET_COMMON_EXPORT Widget_TVDI_Export : public QDialog {
    Q_OBJECT
public:
    explicit Widget_TVDI_Export(QWidget* parent = nullptr);
    QString outputPath() const;
    void setOutputPath(const QString& path);

    void setJobStep(const QString& job, const QString& step);
    // The layers offered, in matrix order; `chosen` are checked.
    void setAvailableLayers(const QStringList& layers, const QStringList& chosen);
    // Every editor from the parameters; the holes are kept as they are.
    void setParam(const TOLVA::IMAGING::export_param& param);
    TOLVA::IMAGING::export_param param() const;
    // Runs the export; the files written (images, then the registration
    // file), empty when it was refused (result() says why).
    QStringList runExport();
    QString result() const;

    // The editors, for a caller that drives the dialog as the operator does.
    QListWidget* layerList() const { return m_layers; }
    QDoubleSpinBox* dpiBox() const { return m_dpi; }
    QComboBox* rotateBox() const { return m_rotate; }
    QCheckBox* mirrorBox() const { return m_mirror; }
    QDoubleSpinBox* xScaleBox() const { return m_xScale; }
    QDoubleSpinBox* yScaleBox() const { return m_yScale; }
    QCheckBox* negativeBox() const { return m_negative; }
    QDoubleSpinBox* resizeBox() const { return m_resize; }
    QLineEdit* pathEdit() const { return m_path; }
    QLineEdit* formatEdit() const { return m_format; }
    QPushButton* exportButton() const { return m_export; }

signals:
    void exported(const QStringList& files);

private:
    QString m_job, m_step;
    std::vector<TOLVA::IMAGING::reg_hole> m_globalHoles, m_areaHoles;
    TOLVA::IMAGING::compression m_compression = TOLVA::IMAGING::compression::ccitt_g4;
    QListWidget* m_layers;
    QDoubleSpinBox* m_dpi;
    QComboBox* m_rotate;
    QCheckBox* m_mirror;
    QDoubleSpinBox* m_xScale;
    QDoubleSpinBox* m_yScale;
    QCheckBox* m_negative;
    QDoubleSpinBox* m_resize;
    QLineEdit* m_path;
    QLineEdit* m_format;
    QPushButton* m_export;
    QLabel* m_result;
};

#pragma once
// Dialogs shared by the plug-ins of the suite.
#include <QDialog>
#include <QImage>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QVector>
#include <QWidget>

#if defined(_WIN32)
#  define WIDGET_COMMON_EXPORT
#else
#  define WIDGET_COMMON_EXPORT __attribute__((visibility("default")))
#endif

class QLabel;

// A small inset window showing a magnified board area.
class WIDGET_COMMON_EXPORT Widget_PopView : public QWidget {
    Q_OBJECT
public:
    explicit Widget_PopView(QWidget* parent = nullptr);
    // The board area (board units) that the inset shows.
    void setBoardArea(const QRectF& area);
    QRectF boardArea() const;
    // Points the user picked inside the inset (board units).
    void setPickedPoints(const QVector<QPointF>& points);
    QVector<QPointF> pickedPoints() const;
    void setImage(const QImage& image);
    QImage image() const;

signals:
    void closed(Widget_PopView* self);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QRectF m_area;
    QVector<QPointF> m_points;
    QLabel* m_label;
    QImage m_image;
};

// Parameters of a contour fill.
class WIDGET_COMMON_EXPORT Widget_Fill : public QDialog {
    Q_OBJECT
public:
    explicit Widget_Fill(QWidget* parent = nullptr);
    QString symbol() const;
    double stepX() const;
    double stepY() const;
    void setParameters(const QString& symbol, double stepX, double stepY);

private:
    QString m_symbol;
    double m_stepX = 0;
    double m_stepY = 0;
};

// Settings of the reference marks; follows the display unit.
class WIDGET_COMMON_EXPORT Widget_MarkSetting : public QDialog {
    Q_OBJECT
public:
    explicit Widget_MarkSetting(QWidget* parent = nullptr);
    QString unitText() const;
    int unitChanges() const { return m_unitChanges; }

public slots:
    void change_unit();

private:
    QLabel* m_unitLabel;
    QString m_unit;
    int m_unitChanges = 0;
};

// Parameters of the TVDI export.
class WIDGET_COMMON_EXPORT Widget_TVDI_Export : public QDialog {
    Q_OBJECT
public:
    explicit Widget_TVDI_Export(QWidget* parent = nullptr);
    QString outputPath() const;
    void setOutputPath(const QString& path);

private:
    QString m_path;
};

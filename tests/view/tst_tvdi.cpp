// The direct-imaging session of the view: holes picked from the context menu,
// the overlay of the export frame and holes, and the export dialog prefilled
// from the settings file and run as the operator runs it.
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>

#include "Widget_Common.h"
#include "view_tool_fixture.h"

namespace {

using TOLVA::GRAPHIC::ViewWidget;
using testsupport::MessageRecorder;

// A settings file in a folder of its own, made the current one before the
// view reads it.
class SettingsFolder {
public:
    SettingsFolder() : m_old(QDir::currentPath()) {
        QFile ini(m_dir.filePath("tvconfig.ini"));
        ini.open(QIODevice::WriteOnly);
        ini.write(QStringLiteral("[Output_Path]\npath=%1/out\n[Output_Path_Format]\nformat={job}-{layer}\n"
                                 "[Resize]\nunit=um\nvalue=2.5\n[ExportPara]\nUseINIdata=true\nRotate=90\n"
                                 "Mirror=true\nxScale=10002\nyScale=0\nNegate=true\n")
                      .arg(m_dir.path())
                      .toUtf8());
        ini.close();
        QDir::setCurrent(m_dir.path());
    }
    ~SettingsFolder() { QDir::setCurrent(m_old); }
    QString out() const { return m_dir.filePath("out"); }

private:
    QTemporaryDir m_dir;
    QString m_old;
};

class Tvdi : public viewtools::ViewToolTest {
protected:
    Tvdi() : ViewToolTest("tst_tvdi") {}
    void SetUp() override {
        ViewToolTest::SetUp();
        TOLVA::JOB::add_layer(m_jobName, "drill", "board", "drill", "positive");
        job.addPad("drill", 3e6, 3e6, "r500");
        job.addPad("top", 3e6, 3e6, "r900");
        host.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&host));
    }
    void startSession() {
        send(20004402, {{ViewWidget::kHoleLayerKey, "drill"}, {ViewWidget::kExportLayersKey, QStringList{"top"}}});
    }
    // Right-clicks at `at` and triggers `entry` of the hole sub-menu once the menu is up.
    void pickFromMenu(const QPoint& at, const QString& entry) {
        bool done = false;
        QTimer probe;
        QObject::connect(&probe, &QTimer::timeout, [&] {
            auto* popup = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            if (!popup || done) return;
            for (QAction* sub : popup->actions())
                if (sub->menu())
                    for (QAction* a : sub->menu()->actions())
                        if (a->text() == entry) {
                            EXPECT_TRUE(sub->isEnabled() && a->isEnabled()) << entry.toStdString();
                            popup->close();
                            a->trigger();
                            done = true;
                        }
        });
        probe.start(10);
        QTest::mouseClick(view, Qt::RightButton, Qt::NoModifier, at);
        EXPECT_TRUE(QTest::qWaitFor([&] { return done; }, 3000)) << entry.toStdString();
    }
    QImage shot() { return view->grab().toImage(); }

    SettingsFolder settings;  // before the view: it reads the file at construction
};

// The positioning hole snaps to the drill hit under the cursor, with its
// diameter; an area hole away from any hit stays where it was set.
TEST_F(Tvdi, HolesArePickedFromTheDrillLayerOrAtThePoint) {
    startSession();
    MessageRecorder messages;
    pickFromMenu(pixel(3e6, 3e6) + QPoint(3, -2), "Add Positioning Hole");
    ASSERT_EQ(view->tvdiGlobalHoles().size(), 1u);
    EXPECT_EQ(view->tvdiGlobalHoles()[0].x, 3e6);
    EXPECT_EQ(view->tvdiGlobalHoles()[0].y, 3e6);
    EXPECT_EQ(view->tvdiGlobalHoles()[0].diameter, 5e5);
    const std::vector<PluginMetaData> sent = messages.withCode(10000507);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].data.value("X").toDouble(), 3e6);
    EXPECT_EQ(sent[0].data.value("Diameter").toDouble(), 5e5);
    EXPECT_EQ(sent[0].data.value("Index").toInt(), 1);

    const QPoint away = pixel(7e6, 2e6);
    pickFromMenu(away, "Set Area Hole");
    ASSERT_EQ(view->tvdiAreaHoles().size(), 1u);
    double x = 0, y = 0;
    view->view2db(away.x(), away.y(), x, y);
    EXPECT_EQ(view->tvdiAreaHoles()[0].x, x);
    EXPECT_EQ(view->tvdiAreaHoles()[0].y, y);
    EXPECT_EQ(view->tvdiAreaHoles()[0].diameter, 0);
    EXPECT_EQ(messages.withCode(10000508).size(), 1u);

    send(20004402);  // leaving TVDI mode ends the session
    EXPECT_TRUE(view->tvdiGlobalHoles().empty());
    EXPECT_TRUE(view->tvdiAreaHoles().empty());
}

// Imaging mode turned on with nothing said about the session (as the
// Actions menu does) picks holes on the job's drill layer.
TEST_F(Tvdi, ABareImagingModePicksHolesOnTheJobsDrillLayer) {
    send(20004401);
    pickFromMenu(pixel(3e6, 3e6) + QPoint(3, -2), "Add Positioning Hole");
    ASSERT_EQ(view->tvdiGlobalHoles().size(), 1u);
    EXPECT_EQ(view->tvdiGlobalHoles()[0].x, 3e6);
    EXPECT_EQ(view->tvdiGlobalHoles()[0].diameter, 5e5);
    send(20004401);
}

// The overlay frames the image area in cyan and marks the holes, only in
// TVDI mode.
TEST_F(Tvdi, OverlayShowsTheFrameAndHolesOnlyInTvdiMode) {
    startSession();
    pickFromMenu(pixel(3e6, 3e6), "Add Positioning Hole");
    const QColor cyan(0, 255, 255), yellow(255, 255, 0);
    // The profile's top edge, left of the origin arrow's end.
    const QPoint frameTop = pixel(5e6, 1e7);
    const TOLVA::IMAGING::image_frame frame =
        TOLVA::IMAGING::export_frame(m_jobName, "pcb", view->tvdiExportParam());
    EXPECT_EQ(frame.xmin, 0);
    EXPECT_EQ(frame.ymax, 1e7);
    QImage image = shot();
    const QPoint holeEdge = pixel(3e6, 3e6) + QPoint(0, -std::max(6, int(2.5e5 * view->scale())));
    EXPECT_EQ(image.pixelColor(frameTop), cyan);
    EXPECT_EQ(image.pixelColor(holeEdge), yellow);
    // An area hole sits in a square 18 pixels across, beyond its own small ring.
    pickFromMenu(pixel(7e6, 2e6), "Set Area Hole");
    ASSERT_EQ(view->tvdiAreaHoles().size(), 1u);
    const QPoint area = pixel(view->tvdiAreaHoles()[0].x, view->tvdiAreaHoles()[0].y);
    image = shot();
    const QColor pink(255, 128, 255);
    for (const QPoint& edge : {QPoint(3, 9), QPoint(3, -9), QPoint(9, 3), QPoint(-9, -3)})
        EXPECT_EQ(image.pixelColor(area + edge), pink) << edge.x() << "," << edge.y();
    EXPECT_NE(image.pixelColor(area + QPoint(3, 12)), pink);
    send(20004402);
    image = shot();
    EXPECT_NE(image.pixelColor(frameTop), cyan);
    EXPECT_NE(image.pixelColor(holeEdge), yellow);
}

// A frame that cannot be worked out (a layer that is not there) is not
// drawn: only the holes are marked.
TEST_F(Tvdi, NoFrameIsDrawnWhenItCannotBeWorkedOut) {
    send(20004402, {{ViewWidget::kHoleLayerKey, "drill"}, {ViewWidget::kExportLayersKey, QStringList{"gone"}}});
    ASSERT_TRUE(view->tvdiMode());
    const QImage image = shot();
    const QPoint origin = pixel(0, 0);
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx)
            EXPECT_NE(image.pixelColor(origin + QPoint(dx, dy)), QColor(0, 255, 255)) << dx << "," << dy;
}

// The dialog opens on request, prefilled from the settings file; Export
// writes the images and the registration file and lists them.
TEST_F(Tvdi, ExportDialogTakesTheSettingsAndWritesTheImages) {
    startSession();
    pickFromMenu(pixel(3e6, 3e6), "Add Positioning Hole");
    send(20004410);
    Widget_TVDI_Export* dialog = view->tvdiExportDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->rotateBox()->currentData().toInt(), 90);
    EXPECT_TRUE(dialog->mirrorBox()->isChecked());
    EXPECT_DOUBLE_EQ(dialog->xScaleBox()->value(), 1.0002);
    EXPECT_DOUBLE_EQ(dialog->yScaleBox()->value(), 1.0);
    EXPECT_TRUE(dialog->negativeBox()->isChecked());
    EXPECT_DOUBLE_EQ(dialog->resizeBox()->value(), 2.5);
    EXPECT_EQ(dialog->pathEdit()->text(), settings.out());
    EXPECT_EQ(dialog->param().layers, std::vector<std::string>{"top"});
    ASSERT_EQ(dialog->param().global_holes.size(), 1u);

    dialog->dpiBox()->setValue(254);
    QTest::mouseClick(dialog->exportButton(), Qt::LeftButton);
    const QStringList written = QDir(settings.out()).entryList(QDir::Files);
    EXPECT_EQ(written, (QStringList{"tst_tvdi-registration.json", "tst_tvdi-top.tif"}));
    EXPECT_TRUE(dialog->result().contains("tst_tvdi-top.tif")) << dialog->result().toStdString();
    // The overlay now frames what was exported.
    EXPECT_EQ(view->tvdiExportParam().dpi, 254);

    // A folder that is not there is refused in the dialog, and nothing is written.
    dialog->pathEdit()->setText(settings.out() + "/missing");
    dialog->formatEdit()->setText("again-{layer}");
    QTest::mouseClick(dialog->exportButton(), Qt::LeftButton);
    EXPECT_TRUE(dialog->result().startsWith("Not exported")) << dialog->result().toStdString();
    EXPECT_EQ(QDir(settings.out()).entryList(QDir::Files).size(), 2);
}

}  // namespace

// Rout chains on screen and by hand: the cutter band in each width mode,
// the arrows, marks and number of a chain on a grabbed view, chains drawn
// with the rout tool and written into the job (one undo step each), their
// feeds and speeds in the tooltip, the order exchanged with the rout menu
// loaded beside the view, and the shortest air travel between chains.
#include <gtest/gtest.h>

#include <QHelpEvent>
#include <QLabel>
#include <QToolTip>
#include <cmath>
#include <random>

#include "../plugins/sibling_fixture.h"
#include "ViewTool/RoutTool.h"
#include "graphic_view/rout_chain.h"
#include "graphic_view/rout_order.h"
#include "graphic_view/rout_paint.h"
#include "test_support.h"

using namespace TOLVA::GRAPHIC;
using namespace siblings;
namespace API = TOLVA::API;
using testsupport::MessageRecorder;
using testsupport::PromptRecorder;
using testsupport::ScopedJob;

namespace {

constexpr char kJob[] = "rout_drawing";
constexpr double kMm = 1e6;
constexpr int kOrderCode = 20003902, kNewOrderCode = 20003903, kDrawCode = 20003905, kAddCode = 20003908;

class RoutDrawing : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        TOLVA::JOB::add_layer(kJob, "rout", "board", "rout", "positive");
        loadView();
        menu = load(PluginNames::MenuBarRout);
        showHost();
        bind(kJob, {"top", "rout"}, "rout");
        TOLVA::UIAPI::ShowPara show;
        show.show_rout_info = true;
        TOLVA::UIAPI::setShowPara(&host, show);
    }
    void toView(qint32 code, const QVariantMap& data = {}) {
        deliver(PluginNames::MenuBarRout, PluginNames::GraphicView, code, data);
    }
    QPoint pixel(double x, double y) {
        int px = 0, py = 0;
        view->db2view(x, y, px, py);
        return {px, py};
    }
    void clickAt(const QPoint& at) { QTest::mouseClick(view, Qt::LeftButton, Qt::NoModifier, at); }
    QImage grab() { return view->grab().toImage().convertToFormat(QImage::Format_RGB32); }
    QImage grabWithoutRout() {
        TOLVA::UIAPI::setShowPara(&host, TOLVA::UIAPI::ShowPara());
        const QImage img = grab();
        TOLVA::UIAPI::ShowPara show;
        show.show_rout_info = true;
        TOLVA::UIAPI::setShowPara(&host, show);
        return img;
    }
    API::featureInfo routFeature(int index) { return feature(kJob, "rout", index); }
    // A 10 mm line across the middle drawn as a chain with the rout tool:
    // a 2 mm cutter on its centre, feed 1200, speed 30000.
    void drawLineChain() {
        job.addLine("rout", 5 * kMm, 10 * kMm, 15 * kMm, 10 * kMm, "r100");
        toView(kDrawCode, {{"size", 2 * kMm}, {"comp", 0}, {"feed", 1200}, {"speed", 30000}});
        clickAt(pixel(10 * kMm, 10 * kMm));
        QTest::keyClick(view, Qt::Key_Return);
    }

    ScopedJob job{kJob, 20 * kMm, 20 * kMm, {"top"}};
    QWidget* menu = nullptr;
    PromptRecorder prompts;
};

bool white(QRgb c) { return c == qRgb(255, 255, 255); }

// ---- the chain on screen -------------------------------------------------------

// While a chain is being drawn the tool shows the cutter's band in the
// chain's colour, half the cutter either side of the line.
TEST_F(RoutDrawing, ToolShowsTheBandInTheChainsColourWhileDrawing) {
    job.addLine("rout", 5 * kMm, 10 * kMm, 15 * kMm, 10 * kMm, "r100");
    const QImage base = grab();
    toView(kDrawCode, {{"size", 2 * kMm}, {"comp", 0}});
    clickAt(pixel(10 * kMm, 10 * kMm));
    const QImage img = grab();
    const QPoint inside = pixel(7 * kMm, 10.5 * kMm), beyond = pixel(7 * kMm, 11.5 * kMm);
    const QColor band(img.pixel(inside)), chain = rout::chainColour(1);
    EXPECT_NE(img.pixel(inside), base.pixel(inside));
    EXPECT_GT(band.red(), band.green()) << "chain 1 is red";
    EXPECT_GT(chain.red(), chain.green());
    EXPECT_EQ(img.pixel(beyond), base.pixel(beyond));
}

// A point a quarter along the line lies away from the arrow (at its middle),
// the plunge disc and the number: only the band can touch it.
TEST_F(RoutDrawing, BandFollowsTheWidthMode) {
    drawLineChain();
    ASSERT_EQ(view->routChains().size(), 1u);
    const QPoint start = pixel(5 * kMm, 10 * kMm), end = pixel(15 * kMm, 10 * kMm);
    const int x = start.x() + (end.x() - start.x()) / 4, cy = start.y();
    const int w = int(std::lround(2 * kMm * view->scale()));
    ASSERT_GE(w, 16) << "the band must be wide enough to look inside it";
    const QImage base = grabWithoutRout();
    struct Case {
        int mode;
        bool centre, inside, edge;
    };
    static constexpr Case cases[] = {
        {rout::WidthFilled, true, true, true},
        {rout::WidthCentre, true, false, false},
        {rout::WidthOutline, false, false, true},
    };
    for (const Case& c : cases) {
        TOLVA::UIAPI::setWidth(&host, c.mode);
        const QImage img = grab();
        auto changed = [&](int y) { return img.pixel(x, y) != base.pixel(x, y); };
        EXPECT_EQ(changed(cy), c.centre) << "mode " << c.mode;
        EXPECT_EQ(changed(cy + w / 4), c.inside) << "mode " << c.mode;
        EXPECT_EQ(changed(cy - w / 4), c.inside) << "mode " << c.mode;
        const bool edge = changed(cy + w / 2) || changed(cy + w / 2 - 1) || changed(cy + w / 2 + 1);
        EXPECT_EQ(edge, c.edge) << "mode " << c.mode;
        EXPECT_EQ(img.pixel(x, cy + w), base.pixel(x, cy + w)) << "nothing beyond the band, mode " << c.mode;
    }
    TOLVA::UIAPI::setWidth(&host, rout::WidthFilled);
}

// An arc's band takes the arc's own way round: a quarter turn drawn the
// other way would cover the three quarters it does not.
TEST_F(RoutDrawing, AnArcsBandGoesTheArcsWayRound) {
    struct Case {
        double centre;   // on the diagonal, mm
        bool clockwise;  // from (centre + 3, centre) to (centre, centre + 3)
    };
    const double r = 3 * kMm, diagonal = r / std::sqrt(2.0);
    for (const Case& k : {Case{6, false}, Case{14, true}}) {
        SCOPED_TRACE(k.clockwise ? "clockwise" : "counter-clockwise");
        const double c = k.centre * kMm;
        job.addArc("rout", c + r, c, c, c + r, c, c, "r100", k.clockwise);
        toView(kDrawCode, {{"size", 2 * kMm}, {"comp", 0}, {"feed", 1200}, {"speed", 30000}});
        const double pick = k.clockwise ? -diagonal : diagonal;
        clickAt(pixel(c + pick, c + pick));
        QTest::keyClick(view, Qt::Key_Return);
        const QImage base = grabWithoutRout();
        const QImage img = grab();
        const QPoint quarter = pixel(c + diagonal, c + diagonal), opposite = pixel(c - diagonal, c - diagonal);
        EXPECT_EQ(img.pixel(quarter) != base.pixel(quarter), !k.clockwise);
        EXPECT_EQ(img.pixel(opposite) != base.pixel(opposite), k.clockwise);
    }
}

// Filled, the translucent band is laid once where two pieces meet: the
// joint shows the band's colour, not a darker blot.
TEST_F(RoutDrawing, AFilledBandIsEvenAcrossAJoint) {
    job.addLine("rout", 4 * kMm, 6 * kMm, 14 * kMm, 6 * kMm, "r100");
    job.addLine("rout", 14 * kMm, 6 * kMm, 14 * kMm, 16 * kMm, "r100");
    toView(kDrawCode, {{"size", 2 * kMm}, {"comp", 0}, {"feed", 1200}, {"speed", 30000}});
    clickAt(pixel(9 * kMm, 6 * kMm));
    clickAt(pixel(14 * kMm, 11 * kMm));
    QTest::keyClick(view, Qt::Key_Return);
    ASSERT_EQ(view->routChains().size(), 1u);
    TOLVA::UIAPI::setWidth(&host, rout::WidthFilled);
    const QImage base = grabWithoutRout();
    const QImage img = grab();
    // Points off the arrows, inside the band, on the board's black.
    const QPoint joint = pixel(14.4 * kMm, 5.6 * kMm), along = pixel(7 * kMm, 5.6 * kMm);
    ASSERT_EQ(base.pixel(joint), base.pixel(along));
    EXPECT_NE(img.pixel(along), base.pixel(along));
    EXPECT_EQ(img.pixel(joint), img.pixel(along));
}

// The chains are the shown step's: another step of the same job shows its
// own (here none), not the ones read for the step shown before.
TEST_F(RoutDrawing, AnotherStepOfTheJobShowsItsOwnChains) {
    TOLVA::JOB::create_step(kJob, "other");
    drawLineChain();
    const QPoint mid = pixel(7.5 * kMm, 10 * kMm);
    EXPECT_NE(grab().pixel(mid), grabWithoutRout().pixel(mid));
    testsupport::openJobInView(view, kJob, "other", {"top", "rout"});
    view->zoom2fit(0, 0, 20 * kMm, 20 * kMm);
    const QPoint there = pixel(7.5 * kMm, 10 * kMm);
    EXPECT_EQ(grab().pixel(there), grabWithoutRout().pixel(there));
}

// The pass's picture is kept between frames: a pan, a zoom or a hidden rout
// layer must show, the first frame after it, what the view now shows.
TEST_F(RoutDrawing, TheBandFollowsThePanAndTheZoomAndGoesWithItsLayer) {
    drawLineChain();  // a band 2 mm wide along y = 10 mm, x 5 .. 15 mm
    auto onBand = [&](const QPoint& at) {
        const QImage base = grabWithoutRout();
        return grab().pixel(at) != base.pixel(at);
    };
    view->zoom2fit(0, 0, 20 * kMm, 20 * kMm);
    const QPoint mid = pixel(7.5 * kMm, 10 * kMm), above = pixel(7.5 * kMm, 11.5 * kMm),
                 beyond = pixel(16.5 * kMm, 10 * kMm);
    EXPECT_TRUE(onBand(mid));
    EXPECT_FALSE(onBand(above));
    EXPECT_FALSE(onBand(beyond));
    // Each move changes one thing the picture depends on at a time.
    // Panned 3 mm left: the pixel past the end shows x = 13.5 mm, on it.
    view->zoom2fit(-3 * kMm, 0, 17 * kMm, 20 * kMm);
    EXPECT_TRUE(onBand(beyond));
    // Then 3 mm up: the middle pixel shows y = 13 mm, off the band.
    view->zoom2fit(-3 * kMm, 3 * kMm, 17 * kMm, 23 * kMm);
    EXPECT_FALSE(onBand(mid));
    // Zoomed in about the centre: the pixel that showed y = 11.5 mm shows a
    // point half as far from the centre line, on the band now.
    view->zoom2fit(0, 0, 20 * kMm, 20 * kMm);
    EXPECT_FALSE(onBand(above));
    view->scaleUp();
    EXPECT_TRUE(onBand(above));
    view->setShownLayers({ShownLayer{QStringLiteral("top"), 0}});
    EXPECT_FALSE(onBand(pixel(7.5 * kMm, 10 * kMm)));
}

// The chevron's arms trail behind its tip: left of it while the chain runs
// to the right, right of it once the chain is turned round with R.
TEST_F(RoutDrawing, ArrowsPointTheWayTheCutterTravelsAndReverseTurnsThem) {
    drawLineChain();
    TOLVA::UIAPI::setWidth(&host, rout::WidthCentre);
    const QPoint start = pixel(5 * kMm, 10 * kMm), end = pixel(15 * kMm, 10 * kMm);
    const int tip = start.x() + (end.x() - start.x()) / 2, cy = start.y();
    auto armSide = [&] {
        const QImage img = grab();
        int sum = 0;
        for (int dy : {-3, 3})
            for (int dx = -10; dx <= 10; ++dx) sum += white(img.pixel(tip + dx, cy + dy)) ? (dx < 0 ? -1 : 1) : 0;
        return sum;
    };
    EXPECT_LT(armSide(), 0);
    // Both arms reach back from the tip: three pixels off the line on either
    // side, about five behind it.
    {
        const QImage img = grab();
        for (int side : {-3, 3}) {
            int reach = 0;
            for (int dx = 1; dx <= 10; ++dx)
                if (white(img.pixel(tip - dx, cy + side))) reach = dx;
            EXPECT_GE(reach, 4) << side;
            EXPECT_LE(reach, 7) << side;
        }
    }

    toView(kDrawCode);
    clickAt(pixel(10 * kMm, 10 * kMm));  // takes the chain up
    QTest::keyClick(view, Qt::Key_R);
    QTest::keyClick(view, Qt::Key_Return);
    const API::featureInfo turned = routFeature(0);
    EXPECT_EQ(turned.xs, 15 * kMm);
    EXPECT_EQ(turned.xe, 5 * kMm);
    EXPECT_EQ(turned.attributes.at(".rout_chain"), "1");
    EXPECT_GT(armSide(), 0);
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(routFeature(0).xs, 5 * kMm) << "the reversal is one undo step";
    TOLVA::UIAPI::setWidth(&host, rout::WidthFilled);
}

TEST_F(RoutDrawing, MarksAndNumberStandAtTheEndsAndTheTooltipTellsFeedsAndSpeeds) {
    drawLineChain();
    const QPoint start = pixel(5 * kMm, 10 * kMm), end = pixel(15 * kMm, 10 * kMm);
    const QImage img = grab();
    const QRgb colour = rout::chainColour(1).rgb();
    EXPECT_EQ(img.pixel(start), colour) << "the plunge disc";
    EXPECT_TRUE(white(img.pixel(end + QPoint(rout::kRetractHalf, rout::kRetractHalf)))) << "the retract square";
    EXPECT_NE(img.pixel(end), colour);
    EXPECT_EQ(img.pixel(start + QPoint(rout::kLabelGap, -rout::kLabelGap - 1)), colour) << "the number's box";

    const QPoint on = start + (end - start) / 4;
    QHelpEvent rest(QEvent::ToolTip, on, view->mapToGlobal(on));
    QApplication::sendEvent(view, &rest);
    EXPECT_TRUE(QToolTip::text().contains("Feed: 1200")) << QToolTip::text().toStdString();
    EXPECT_TRUE(QToolTip::text().contains("Speed: 30000"));
    EXPECT_TRUE(view->routTipAt(pixel(5 * kMm, 15 * kMm)).isEmpty());
}

// ---- drawing chains by hand ----------------------------------------------------------

// A square clicked side by side in any order and direction closes into one
// chain; a click near a corner starts it there; the chain is written whole
// and one undo takes it back.
TEST_F(RoutDrawing, ClosedChainTakesItsStartFromAClickAndIsOneUndoStep) {
    const double lo = 5 * kMm, hi = 15 * kMm, mid = 10 * kMm;
    job.addLine("rout", lo, lo, hi, lo, "r200");  // 0: bottom, to the right
    job.addLine("rout", hi, hi, hi, lo, "r200");  // 1: right side, downwards
    job.addLine("rout", lo, hi, hi, hi, "r200");  // 2: top, to the right
    job.addLine("rout", lo, lo, lo, hi, "r200");  // 3: left side, upwards
    MessageRecorder messages;
    toView(kDrawCode, {{"comp", 2}});
    // The right side first: the top meets its start and turns it round.
    for (const QPoint& p : {pixel(hi, mid), pixel(mid, hi), pixel(lo, mid), pixel(mid, lo)}) clickAt(p);
    auto* tool = qobject_cast<RoutTool*>(view->currentTool());
    ASSERT_TRUE(tool);
    ASSERT_TRUE(tool->isClosed());
    clickAt(pixel(hi, hi) + QPoint(-1, 1));  // at the top right corner
    EXPECT_EQ(tool->chain().front().start, QPointF(hi, hi));
    QTest::keyClick(view, Qt::Key_Return);
    EXPECT_TRUE(tool->chain().empty());
    EXPECT_EQ(messages.withCode(20003909).size(), 1u);

    // The chain reads back from the job in that order: along the top first.
    ASSERT_EQ(view->routChains().size(), 1u);
    const auto chain = view->routChains()[0];
    ASSERT_EQ(chain.size(), 4u);
    EXPECT_EQ(chain[0].index, 2);
    EXPECT_EQ(chain[0].start, QPointF(hi, hi));
    for (size_t k = 0; k < 4; ++k) EXPECT_EQ(chain[k].end, chain[(k + 1) % 4].start) << k;
    EXPECT_EQ(routFeature(1).attributes.at(".comp"), "left");
    EXPECT_EQ(routFeature(1).ys, lo) << "the right side is written upwards, as the chain runs";
    EXPECT_TRUE(API::undo_last_edit(kJob));
    for (int k = 0; k < 4; ++k) EXPECT_EQ(routFeature(k).attributes.count(".rout_chain"), 0u) << k;
}

TEST_F(RoutDrawing, RequestsRefusedWithoutChangingTheJob) {
    job.addLine("rout", 0, 0, kMm, 0, "r200");
    job.addPad("rout", 5 * kMm, 5 * kMm, "r200");
    job.addLine("top", 0, 0, kMm, 0, "r200");
    toView(kDrawCode, {{"Action", "commit"}});  // no tool open: ignored
    EXPECT_NE(toolType(), 36);
    MessageRecorder messages;
    toView(kAddCode, {{"Indices", QVariantList{1}}});  // a pad
    toView(kAddCode, {{"Layer", "top"}, {"Indices", QVariantList{0}}});  // not a rout layer
    toView(kAddCode, {{"Indices", QVariantList{"x"}}});
    toView(kDrawCode, {{"comp", 7}});
    toView(kDrawCode, {{"Action", "sideways"}});
    toView(kDrawCode, {{"Action", "commit"}});  // nothing picked
    EXPECT_EQ(toolType(), 36);
    int answers = 0;
    for (const PluginMetaData& answer : messages.to(PluginNames::MenuBarRout)) {
        EXPECT_TRUE(answer.data.value("Indices").toList().isEmpty());
        answers += answer.msgType == kAddCode;
    }
    EXPECT_EQ(answers, 3) << "each request is answered with the chain being drawn";
    EXPECT_EQ(routFeature(0).attributes.count(".rout_chain"), 0u);
    toView(kAddCode, {{"Indices", QVariantList{0}}});
    ASSERT_FALSE(messages.withCode(kAddCode).empty());
    EXPECT_EQ(messages.withCode(kAddCode).back().data.value("Indices").toList(), QVariantList{0});
    toView(kDrawCode, {{"Action", "drop"}});
    toView(kDrawCode, {{"Action", "commit"}});
    EXPECT_EQ(routFeature(0).attributes.count(".rout_chain"), 0u);
}

// ---- the order of the chains -------------------------------------------------------

// Three chains drawn far from where the cutter starts first: the menu asks
// for their order, then for the shortest; the numbers follow the new order
// in one undo step.
TEST_F(RoutDrawing, OrderGoesToTheMenuAndOptimisingShortensTheAirTravel) {
    const double xs[] = {15 * kMm, 1 * kMm, 8 * kMm};
    for (double x : xs) job.addLine("rout", x, 2 * kMm, x, 3 * kMm, "r200");
    for (int k = 0; k < 3; ++k) toView(kAddCode, {{"Indices", QVariantList{k}}}), toView(kDrawCode, {{"Action", "commit"}});
    ASSERT_EQ(view->routChains().size(), 3u);
    MessageRecorder messages;
    auto answersOf = [&] {
        std::vector<PluginMetaData> out;
        for (const PluginMetaData& m : messages.to(PluginNames::MenuBarRout))
            if (m.msgType == kOrderCode) out.push_back(m);
        return out;
    };
    action(menu, "chainOrder")->trigger();
    auto answers = answersOf();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].receiver, PluginNames::MenuBarRout);
    const double before = answers[0].data.value("AirTravel").toDouble();
    const QVariantList chains = answers[0].data.value("Chains").toList();
    ASSERT_EQ(chains.size(), 3);
    EXPECT_EQ(chains[0].toMap().value("PlungeX").toDouble(), 15 * kMm);
    EXPECT_TRUE(child<QLabel>(menu, "status")->text().startsWith("3 chains"));

    messages.clear();
    action(menu, "optimiseOrder")->trigger();
    ASSERT_EQ(messages.withCode(kNewOrderCode).size(), 1u);
    answers = answersOf();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_LT(answers[0].data.value("AirTravel").toDouble(), before);
    std::vector<double> plunges;
    for (const auto& c : answers[0].data.value("Chains").toList()) plunges.push_back(c.toMap().value("PlungeX").toDouble());
    EXPECT_EQ(plunges, (std::vector<double>{1 * kMm, 8 * kMm, 15 * kMm}));
    EXPECT_EQ(routFeature(1).attributes.at(".rout_chain"), "1");
    EXPECT_EQ(routFeature(0).attributes.at(".rout_chain"), "3");
    EXPECT_TRUE(API::undo_last_edit(kJob));
    EXPECT_EQ(routFeature(0).attributes.at(".rout_chain"), "1") << "one undo step";

    messages.clear();
    toView(kNewOrderCode, {{"Order", QVariantList{2, 0, 1}}});
    EXPECT_EQ(view->routChains()[0].front().start.x(), 8 * kMm);
    toView(kNewOrderCode, {{"Order", "x"}});
    EXPECT_EQ(answersOf().size(), 1u) << "a bad order is not answered";
}

// Eight chains side by side are told apart by eight colours; the ninth takes the first again.
TEST(RoutColours, EightDistinctColoursThenRoundAgain) {
    std::vector<QRgb> seen;
    for (int chain = 1; chain <= 8; ++chain) {
        const QColor c = rout::chainColour(chain);
        ASSERT_TRUE(c.isValid()) << chain;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), c.rgb()), 0) << chain;
        seen.push_back(c.rgb());
    }
    EXPECT_EQ(rout::chainColour(9), rout::chainColour(1));
}

// Random chains: the order found never travels further than the given one
// and names every chain once.
TEST(RoutOrder, NeverLongerThanTheGivenOrder) {
    static constexpr unsigned seeds[] = {1, 7, 42, 1234, 99991};
    for (unsigned seed : seeds) {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> at(-50 * kMm, 50 * kMm);
        const int count = 3 + int(seed % 60);
        std::vector<rout::Leg> legs;
        for (int k = 0; k < count; ++k) legs.push_back({{at(random), at(random)}, {at(random), at(random)}});
        std::vector<int> given(legs.size());
        for (size_t k = 0; k < given.size(); ++k) given[k] = int(k);
        const std::vector<int> order = rout::shortestOrder(legs, {0, 0});
        std::vector<int> sorted = order;
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(sorted, given) << seed;
        EXPECT_LE(rout::airTravel(legs, order, {0, 0}), rout::airTravel(legs, given, {0, 0})) << seed;
    }
    // Chains along a line given back to front are put front to back.
    const std::vector<rout::Leg> line = {{{3, 0}, {3, 0}}, {{2, 0}, {2, 0}}, {{1, 0}, {1, 0}}};
    EXPECT_EQ(rout::shortestOrder(line, {0, 0}), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(rout::airTravel(line, {2, 1, 0}, {0, 0}), 3);
    EXPECT_EQ(rout::airTravel(line, {0, 1, 2}, {0, 0}), 5);
}

}  // namespace

// The layer matrix panel beside the real view: the bound job's rows and
// feature counts, refreshed when the view announces an edit of the job.
#include <QTableWidget>

#include "sibling_fixture.h"

using namespace siblings;
using testsupport::ScopedJob;

namespace {

constexpr double kMm = 1e6;

class Matrix : public SiblingTest {
protected:
    void SetUp() override {
        SiblingTest::SetUp();
        loadView();
        panel = load(PluginNames::Matrix);
        table = child<QTableWidget>(panel, "matrixTable");
        job.emplace("matrix_job", 20 * kMm, 20 * kMm, std::vector<std::string>{"top", "bot"});
        TOLVA::JOB::add_layer(job->name(), "drl", "board", "drill", "positive");
        TOLVA::JOB::add_layer(job->name(), "mask", "misc", "solder_mask", "negative");
        job->addPad("top", 5 * kMm, 5 * kMm, "r100");
        job->addPad("top", 6 * kMm, 5 * kMm, "r100");
        job->addPad("drl", 6 * kMm, 5 * kMm, "r100");
        bind(job->name(), {"top"}, "top");
    }
    void TearDown() override {
        SiblingTest::TearDown();
        job.reset();
    }
    QStringList row(int r) const {
        QStringList cells;
        for (int c = 0; c < table->columnCount(); ++c) cells << (table->item(r, c) ? table->item(r, c)->text() : "?");
        return cells;
    }
    QString topCount() const { return row(0)[5]; }
    QWidget* panel = nullptr;
    QTableWidget* table = nullptr;
    std::optional<ScopedJob> job;
};

TEST_F(Matrix, TheBoundJobsRowsInMatrixOrderWithTheirCounts) {
    ASSERT_EQ(table->rowCount(), 4);
    const QStringList expected[] = {{"1", "top", "board", "signal", "positive", "2"},
                                    {"2", "bot", "board", "signal", "positive", "0"},
                                    {"3", "drl", "board", "drill", "positive", "1"},
                                    {"4", "mask", "misc", "solder_mask", "negative", "0"}};
    for (int r = 0; r < 4; ++r) EXPECT_EQ(row(r), expected[r]) << r;
    deliver(PluginNames::GraphicEditor, PluginNames::Matrix, 20001637, {{"JobName", ""}, {"Step", ""}});
    EXPECT_EQ(table->rowCount(), 0);
}

// The view's undo announces the edit through the job-update path.
TEST_F(Matrix, AnEditAnnouncedByTheViewRefreshesTheCounts) {
    job->addPad("top", 7 * kMm, 5 * kMm, "r100");
    selectAll(job->name(), "top");
    TOLVA::API::copy_features_in_samelayer(job->name(), ScopedJob::kStep, {"top"}, 1000, 0);
    EXPECT_EQ(topCount(), "2");  // the kernel changed behind the panel's back
    ASSERT_TRUE(view->undoLastEdit());
    EXPECT_EQ(topCount(), "3");
    TOLVA::API::copy_features_in_samelayer(job->name(), ScopedJob::kStep, {"top"}, 1000, 0);
    deliver(PluginNames::GraphicView, PluginNames::Matrix, 20002401, {{"JobName", "matrix_job"}});
    EXPECT_EQ(topCount(), "6");
}

TEST_F(Matrix, AnUpdateOfAnotherJobOrAnotherPanelIsNotTaken) {
    job->addPad("top", 7 * kMm, 5 * kMm, "r100");
    deliver(PluginNames::GraphicView, PluginNames::Matrix, 20002401, {{"JobName", "other_job"}});
    EXPECT_EQ(topCount(), "2");
    PluginMetaData elsewhere(PluginNames::GraphicView, PluginNames::JobList, 20002401);
    elsewhere.data.insert("JobName", "matrix_job");
    QTpluginsManger4CAM::instance()->Tv_UpdateJob("matrix_job", elsewhere);
    EXPECT_EQ(topCount(), "2");
    PluginMetaData mine(PluginNames::GraphicView, PluginNames::Matrix, 20002401);
    QTpluginsManger4CAM::instance()->Tv_UpdateJob("matrix_job", mine);
    EXPECT_EQ(topCount(), "3");
}

TEST_F(Matrix, AJobTheKernelDoesNotKnowLeavesAnEmptyTable) {
    testsupport::LogCapture log;
    deliver(PluginNames::GraphicEditor, PluginNames::Matrix, 20001637, {{"JobName", "missing"}, {"Step", "pcb"}});
    EXPECT_EQ(table->rowCount(), 0);
    EXPECT_EQ(log.count(google::GLOG_ERROR, "Matrix.dll"), 1);
}

}  // namespace

// The application's command line and its job session: saved jobs opened by
// directory or file, unsaved edits told by the kernel's edit serial, and the
// journal that brings edits back after a crash.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>

#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "app_logging.h"
#include "host_options.h"
#include "job_session.h"
#include "test_support.h"

namespace {

using host::HostOptions;
using host::JobSession;
using namespace TOLVA;

TEST(HostOptions, ReadsEveryOptionAndRefusesBadOnes) {
    struct Case {
        QStringList args;
        bool good;
        QString reasonPart;
    };
    const Case cases[] = {
        {{QStringLiteral("jobdir"), QStringLiteral("--snapshot"), QStringLiteral("a.png")}, true, {}},
        {{QStringLiteral("--snapshot=a.JPG")}, true, {}},
        {{QStringLiteral("--snapshot"), QStringLiteral("a.gif")}, false, QStringLiteral(".png")},
        {{QStringLiteral("--snapshot")}, false, QStringLiteral("needs a file")},
        {{QStringLiteral("--size"), QStringLiteral("640x0")}, false, QStringLiteral("WxH")},
        {{QStringLiteral("--size"), QStringLiteral("640x480")}, true, {}},
        {{QStringLiteral("--box"), QStringLiteral("0,0,10")}, false, QStringLiteral("XMIN")},
        {{QStringLiteral("--box"), QStringLiteral("5,0,1,10")}, false, QStringLiteral("XMIN<XMAX")},
        {{QStringLiteral("--box"), QStringLiteral("0,0,nan,10")}, false, QStringLiteral("XMIN")},
        {{QStringLiteral("--box"), QStringLiteral("-1.5,2,3,4.25")}, true, {}},
        {{QStringLiteral("--layers"), QStringLiteral(",")}, false, QStringLiteral("at least one")},
        {{QStringLiteral("--features"), QStringLiteral("-3")}, false, QStringLiteral("--features")},
        {{QStringLiteral("--frobnicate")}, false, QStringLiteral("unknown option")},
    };
    for (const Case& c : cases) {
        HostOptions o;
        const QString reason = host::parseOptions(c.args, o);
        EXPECT_EQ(reason.isEmpty(), c.good) << c.args.join(' ').toStdString() << ": " << reason.toStdString();
        if (!c.good) {
            EXPECT_TRUE(reason.contains(c.reasonPart)) << reason.toStdString();
        }
    }
    HostOptions o;
    ASSERT_TRUE(host::parseOptions({QStringLiteral("j1"), QStringLiteral("--size=300x200"), QStringLiteral("j2"),
                                    QStringLiteral("--box"), QStringLiteral("-1.5,2,3,4.25"),
                                    QStringLiteral("--layers"), QStringLiteral("top,drill")},
                                   o)
                    .isEmpty());
    EXPECT_EQ(o.inputs, QStringList({QStringLiteral("j1"), QStringLiteral("j2")}));
    EXPECT_EQ(o.size, QSize(300, 200));
    EXPECT_EQ(o.layers, QStringList({QStringLiteral("top"), QStringLiteral("drill")}));
    ASSERT_TRUE(o.hasBox);
    EXPECT_DOUBLE_EQ(o.boxMm.left(), -1.5);
    EXPECT_DOUBLE_EQ(o.boxMm.top(), 2);  // the rectangle's top is the board's bottom edge
    EXPECT_DOUBLE_EQ(o.boxMm.right(), 3);
    EXPECT_DOUBLE_EQ(o.boxMm.bottom(), 4.25);
    EXPECT_EQ(host::snapshotFormat(QStringLiteral("x.JPEG")), QByteArray("JPEG"));
    EXPECT_EQ(host::snapshotFormat(QStringLiteral("x.bmp")), QByteArray("BMP"));
    EXPECT_TRUE(host::snapshotFormat(QStringLiteral("x.png.txt")).isEmpty());
}

// The failure lines are written in GBK; the console gets them in UTF-8,
// and lines that already are UTF-8 pass unchanged.
TEST(HostLogging, ConsoleTextTurnsGbkIntoUtf8) {
    const QString line = QStringLiteral("E 异常位置：graphic_view.cpp:12");
    QTextCodec* gbk = QTextCodec::codecForName("GBK");
    ASSERT_NE(gbk, nullptr);
    const QByteArray gbkBytes = gbk->fromUnicode(line);
    ASSERT_NE(gbkBytes, line.toUtf8());
    EXPECT_EQ(host::consoleText(gbkBytes), line.toUtf8());
    EXPECT_EQ(host::consoleText(line.toUtf8()), line.toUtf8());
    EXPECT_EQ(host::consoleText("plain ascii\n"), QByteArray("plain ascii\n"));
}

class Session : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_home.isValid());
        qputenv("TOLVA_HOME", m_home.path().toLocal8Bit());
        m_job = std::make_unique<testsupport::ScopedJob>("session_job", 1e7, 1e7, std::vector<std::string>{"top"});
        m_job->addPad("top", 1e6, 1e6, "r100");
        m_job->addPad("top", 2e6, 1e6, "r100");
        m_saved = m_home.filePath(QStringLiteral("saved"));
        JOB::save_job(m_job->name(), m_saved.toStdString());
    }
    void TearDown() override {
        DB::set_SaveFlag(false);
        qunsetenv("TOLVA_HOME");
    }
    // Moves every pad of "top" by dx through the kernel, journalled as the view does.
    void moveAll(const std::string& job, int dx) {
        if (DB::get_SaveFlag()) DB::select_all_features_db_save(job, "pcb", "top");
        API::select_features(job, "pcb", "top");
        if (DB::get_SaveFlag()) DB::move_same_layer_db_save(job, "pcb", {"top"}, dx, 0);
        API::move_same_layer(job, "pcb", {"top"}, dx, 0);
    }
    double firstPadX(const std::string& job) {
        API::featureInfo f;
        EXPECT_TRUE(API::get_featureinfo_by_index(job, "pcb", "top", 0, f));
        return f.xs;
    }
    QTemporaryDir m_home;
    QString m_saved;
    std::unique_ptr<testsupport::ScopedJob> m_job;
};

TEST_F(Session, ArgumentsNameAJobDirectoryOrItsFileAndNothingElse) {
    QString reason;
    EXPECT_EQ(JobSession::jobDirectoryFor(m_saved, &reason), QDir(m_saved).absolutePath());
    EXPECT_EQ(JobSession::jobDirectoryFor(QDir(m_saved).filePath(QStringLiteral("job.tolva")), &reason),
              QDir(m_saved).absolutePath());
    EXPECT_TRUE(JobSession::jobDirectoryFor(m_home.filePath(QStringLiteral("missing")), &reason).isEmpty());
    EXPECT_TRUE(reason.contains(QStringLiteral("no such file"))) << reason.toStdString();
    EXPECT_TRUE(JobSession::jobDirectoryFor(m_home.path(), &reason).isEmpty());
    EXPECT_TRUE(reason.contains(QStringLiteral("not a saved job"))) << reason.toStdString();
    QFile other(m_home.filePath(QStringLiteral("board.gbr")));
    ASSERT_TRUE(other.open(QIODevice::WriteOnly));
    other.close();
    EXPECT_TRUE(JobSession::jobDirectoryFor(other.fileName(), &reason).isEmpty());
    EXPECT_TRUE(reason.contains(QStringLiteral("board.gbr")) && reason.contains(QStringLiteral("supported")))
        << reason.toStdString();
}

TEST_F(Session, UnsavedEditsComeFromEditsAndUndosNotFromSelection) {
    JobSession s;
    s.adopt(QString::fromStdString(m_job->name()), QStringLiteral("test"));
    EXPECT_FALSE(s.hasUnsavedEdits());
    API::select_features(m_job->name(), "pcb", "top");
    EXPECT_FALSE(s.hasUnsavedEdits()) << "a selection is not an edit";
    moveAll(m_job->name(), 1000);
    EXPECT_TRUE(s.hasUnsavedEdits());
    s.save(m_saved);
    EXPECT_FALSE(s.hasUnsavedEdits());
    ASSERT_TRUE(API::undo_last_edit(m_job->name()));
    EXPECT_TRUE(s.hasUnsavedEdits()) << "an undo after a save changes the job again";
}

// A session that ends without saving leaves its journal; opening the same
// saved job again replays it to the edited job.
TEST_F(Session, AJournalLeftByACrashBringsTheEditsBack) {
    const std::string name = m_job->name();
    {
        JobSession crashed;
        crashed.open(m_saved);  // the saved job replaces the one in memory
        crashed.startJournal(false);
        moveAll(name, 5000);
        moveAll(name, 250);
        DB::set_SaveFlag(false);  // the process dies here: no endJournal
    }
    const double edited = firstPadX(name);
    EXPECT_DOUBLE_EQ(edited, 1e6 + 5250);

    JobSession next;
    next.open(m_saved);
    EXPECT_DOUBLE_EQ(firstPadX(name), 1e6) << "the saved job does not hold the edits";
    ASSERT_TRUE(next.hasRecoverableJournal());
    next.recover();
    EXPECT_DOUBLE_EQ(firstPadX(name), edited);
    EXPECT_TRUE(next.hasUnsavedEdits());
    next.startJournal(true);
    next.save();
    next.endJournal();
    EXPECT_FALSE(QFile::exists(next.journalFile())) << "a clean end leaves no journal";

    JobSession again;
    again.open(m_saved);
    EXPECT_FALSE(again.hasRecoverableJournal());
    EXPECT_DOUBLE_EQ(firstPadX(name), edited) << "the save held the recovered edits";
}

TEST_F(Session, AJournalOfAnotherOriginOrWithoutCallsIsNotOffered) {
    JobSession s;
    s.open(m_saved);
    s.startJournal(false);
    DB::has_profile_db_save(m_job->name(), "pcb");  // the view journals what it reads, too
    DB::select_all_features_db_save(m_job->name(), "pcb", "top");
    DB::set_SaveFlag(false);
    EXPECT_FALSE(s.hasRecoverableJournal()) << "reads and selections only";

    JobSession demo;
    demo.adopt(QString::fromStdString(m_job->name()), QStringLiteral("generated demo, 10 features"));
    demo.startJournal(false);
    moveAll(m_job->name(), 10);
    DB::set_SaveFlag(false);
    JobSession reopened;
    reopened.open(m_saved);
    EXPECT_FALSE(reopened.hasRecoverableJournal()) << "written against a board of another origin";
    reopened.startJournal(false);
    EXPECT_TRUE(QFile::exists(reopened.journalFile() + QStringLiteral(".previous")))
        << "a journal that is not replayed is set aside, not lost";
    DB::set_SaveFlag(false);
}

}  // namespace

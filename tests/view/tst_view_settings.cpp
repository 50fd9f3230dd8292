// Reading "tvconfig.ini": the resize scaling, the "yes" rule, missing and
// garbage files, and the order in which the directory hooks run.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "core/view_settings.h"

using namespace TOLVA::GRAPHIC;

namespace {
// A new file name each time: QSettings caches what it read per file.
QString writeIni(const QTemporaryDir& dir, const QByteArray& text) {
    static int serial = 0;
    const QString path = dir.filePath(QStringLiteral("tvconfig%1.ini").arg(++serial));
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(text);
    return path;
}
}  // namespace

TEST(ViewSettings, ResizeValueBecomesNanometres) {
    struct Case { const char* unit; const char* value; double expected; };
    static constexpr Case cases[] = {
        {"um", "2.5", 2500}, {"mm", "0.1", 100000}, {"inch", "3", 3}, {"UM", "2", 2}, {"", "7", 7},
    };
    QTemporaryDir dir;
    for (const Case& c : cases) {
        const QString path = writeIni(dir, QByteArray("[Resize]\nunit=") + c.unit + "\nvalue=" + c.value + "\n");
        const ViewSettings s = readViewSettings(path);
        EXPECT_DOUBLE_EQ(s.resizeValue, c.expected) << c.unit;
        EXPECT_EQ(s.resizeUnit, QString::fromLatin1(c.unit));
    }
}

TEST(ViewSettings, YesFlagsIgnoreCaseButNotSynonyms) {
    struct Case { const char* text; bool expected; };
    static constexpr Case cases[] = {{"YES", true}, {"yes", true}, {"Yes", true}, {"true", false}, {"1", false}, {"", false}};
    QTemporaryDir dir;
    for (const Case& c : cases) {
        const QString path = writeIni(dir, QByteArray("[Profile_Dot]\nProfile_Dot=") + c.text +
                                               "\n[Mirror]\nMirror=" + c.text + "\n");
        const ViewSettings s = readViewSettings(path);
        EXPECT_EQ(s.profileDot, c.expected) << c.text;
        EXPECT_EQ(s.mirror, c.expected) << c.text;
    }
}

TEST(ViewSettings, ReadsEveryKey) {
    QTemporaryDir dir;
    const QString path = writeIni(dir,
                                  "[Job_Path]\npath=/jobs\n[Output_Path]\npath=/out\n"
                                  "[Output_Path_Second]\npath=/out2\n[Output_Path_Format]\nformat=%J_%S\n"
                                  "[Dbu]\nDbu=0.001\n"
                                  "[ExportPara]\nUseINIdata=true\nRotate=90\nMirror=true\nxScale=2\nyScale=3.7\nNegate=1\n");
    const ViewSettings s = readViewSettings(path);
    EXPECT_EQ(s.jobPath, "/jobs");
    EXPECT_EQ(s.outputPath, "/out");
    EXPECT_EQ(s.outputPathSecond, "/out2");
    EXPECT_EQ(s.outputPathFormat, "%J_%S");
    EXPECT_DOUBLE_EQ(s.dbu, 0.001);
    EXPECT_TRUE(s.useIniData);
    EXPECT_EQ(s.exportRotate, 90);
    EXPECT_TRUE(s.exportMirror);
    EXPECT_EQ(s.exportXScale, 2);
    EXPECT_EQ(s.exportYScale, 0);  // integers only: a fraction does not read as one
    EXPECT_TRUE(s.exportNegate);
}

TEST(ViewSettings, MissingOrGarbageFileLeavesDefaults) {
    QTemporaryDir dir;
    for (const QString& path : {dir.filePath(QStringLiteral("absent.ini")),
                                writeIni(dir, QByteArray("\x00\xff\xfe garbage [[[ = = \n\x01", 22))}) {
        const ViewSettings s = readViewSettings(path);
        EXPECT_TRUE(s.jobPath.isEmpty());
        EXPECT_DOUBLE_EQ(s.resizeValue, 0);
        EXPECT_DOUBLE_EQ(s.dbu, 0);
        EXPECT_FALSE(s.profileDot);
        EXPECT_EQ(s.exportXScale, 0);
    }
}

TEST(ViewSettings, HooksSeeJobPathBeforeAndOutputPathAfterStoring) {
    QTemporaryDir dir;
    const QString path = writeIni(dir, "[Job_Path]\npath=/jobs\n[Output_Path]\npath=/out\n");
    QStringList calls;
    SettingsHooks hooks;
    hooks.beforeJobPath = [&](const QString& p) { calls << QStringLiteral("job:") + p; };
    hooks.afterOutputPath = [&](const QString& p) { calls << QStringLiteral("out:") + p; };
    readViewSettings(path, hooks);
    EXPECT_EQ(calls, (QStringList{QStringLiteral("job:/jobs"), QStringLiteral("out:/out")}));
}

TEST(ViewSettings, PathsAreReadAsUtf8) {
    QTemporaryDir dir;
    const QString path = writeIni(dir, QByteArray("[Job_Path]\npath=/data/\xe8\xb7\xaf\xe5\xbe\x84/jobs\n"));
    EXPECT_EQ(readViewSettings(path).jobPath, QString::fromUtf8("/data/\xe8\xb7\xaf\xe5\xbe\x84/jobs"));
}

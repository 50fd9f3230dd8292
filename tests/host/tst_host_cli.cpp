// The application run as an operator runs it: a saved job on the command
// line, --snapshot writing the composed view without a display, and every
// bad argument ending the run at once with a one-line reason.
#include <gtest/gtest.h>

#include <QColor>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <map>

#include <zip.h>

#include "LayerPalette.h"
#include "TOLVA_API.h"
#include "TOLVA_Job.h"
#include "test_support.h"

namespace {

using namespace TOLVA;

struct HostRun {
    int exitCode = -1;
    bool finished = false;
    QString out, err;
    qint64 ms = 0;
};

class HostCli : public ::testing::Test {
protected:
    // A 10 mm square board: a 1 mm pad on "top" at (5, 5) mm and a 0.5 mm
    // pad on "drill" at (2, 2) mm, saved to a directory the host opens.
    static void SetUpTestSuite() {
        s_home = new QTemporaryDir;
        testsupport::ScopedJob job("cli_board", 1e7, 1e7, {"top", "drill"});
        job.addPad("top", 5e6, 5e6, "r1000");
        job.addPad("drill", 2e6, 2e6, "r500");
        s_jobDir = s_home->filePath(QStringLiteral("cli_board"));
        JOB::save_job(job.name(), s_jobDir.toStdString());
    }
    static void TearDownTestSuite() { delete s_home; }

    HostRun run(const QStringList& args, int timeoutMs = 60000) {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TOLVA_HOME"), s_home->path());
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        p.setProcessEnvironment(env);
        QElapsedTimer clock;
        clock.start();
        p.start(QStringLiteral(TOLVA_HOST_BIN), args);
        HostRun r;
        r.finished = p.waitForFinished(timeoutMs);
        if (!r.finished) p.kill();
        r.ms = clock.elapsed();
        r.exitCode = p.exitCode();
        r.out = QString::fromUtf8(p.readAllStandardOutput());
        r.err = QString::fromUtf8(p.readAllStandardError());
        return r;
    }
    QString out(const QString& name) const { return s_home->filePath(name); }

    static QTemporaryDir* s_home;
    static QString s_jobDir;
};
QTemporaryDir* HostCli::s_home = nullptr;
QString HostCli::s_jobDir;

QSet<QRgb> colours(const QImage& image) {
    QSet<QRgb> set;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) set.insert(image.pixel(x, y) | 0xff000000u);
    return set;
}

QRgb palette(int i) { return LayerPalette::color(i).rgb(); }

// Writes each named text into the folder, creating it; false when one cannot be written.
bool writeFiles(const QString& dir, const std::map<QString, QByteArray>& files) {
    QDir().mkpath(dir);
    for (const auto& f : files) {
        QFile file(QDir(dir).filePath(f.first));
        if (!file.open(QIODevice::WriteOnly) || file.write(f.second) != f.second.size()) return false;
    }
    return true;
}

// The box of the pixels that differ from the top left one (the background:
// fitted boards leave a margin).
QRect paintedBounds(const QImage& image) {
    const QRgb background = image.pixel(0, 0);
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != background) box |= QRect(x, y, 1, 1);
    return box;
}

TEST_F(HostCli, SnapshotHoldsExactlyTheShownLayersColours) {
    struct Case {
        QString layers;
        QSet<QRgb> allowed;
        QSet<QRgb> required;
    };
    const QRgb black = qRgb(0, 0, 0), white = qRgb(255, 255, 255);
    const Case cases[] = {
        {QStringLiteral("top"), {black, white, palette(0)}, {palette(0), white}},
        {QStringLiteral("drill"), {black, white, palette(0)}, {palette(0)}},
        {QStringLiteral("top,drill"), {black, white, palette(0), palette(1)}, {palette(0), palette(1)}},
    };
    for (const Case& c : cases) {
        const QString file = out(QStringLiteral("shown.png"));
        QFile::remove(file);
        const HostRun r = run({s_jobDir, QStringLiteral("--snapshot"), file, QStringLiteral("--size"),
                           QStringLiteral("320x240"), QStringLiteral("--layers"), c.layers});
        ASSERT_TRUE(r.finished);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        const QImage image(file);
        ASSERT_EQ(image.size(), QSize(320, 240)) << c.layers.toStdString();
        const QSet<QRgb> seen = colours(image);
        for (QRgb rgb : seen)
            EXPECT_TRUE(c.allowed.contains(rgb)) << c.layers.toStdString() << ": stray colour " << std::hex << rgb;
        for (QRgb rgb : c.required)
            EXPECT_TRUE(seen.contains(rgb)) << c.layers.toStdString() << ": missing colour " << std::hex << rgb;
    }
}

TEST_F(HostCli, BoxShowsThatBoardWindow) {
    // The window is the pad's own square: the pad fills the middle, the
    // corners stay background.
    const QString file = out(QStringLiteral("box.png"));
    const HostRun r = run({s_jobDir, QStringLiteral("--snapshot"), file, QStringLiteral("--size"), QStringLiteral("200x200"),
                       QStringLiteral("--layers"), QStringLiteral("top"), QStringLiteral("--box"),
                       QStringLiteral("4.5,4.5,5.5,5.5")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QImage image(file);
    ASSERT_EQ(image.size(), QSize(200, 200));
    EXPECT_EQ(image.pixel(100, 100) | 0xff000000u, palette(0));
    EXPECT_EQ(image.pixel(100, 20) | 0xff000000u, palette(0)) << "the pad reaches near the window's edge";
    EXPECT_EQ(image.pixel(3, 3) | 0xff000000u, qRgb(0, 0, 0));
    EXPECT_EQ(image.pixel(196, 196) | 0xff000000u, qRgb(0, 0, 0));
}

TEST_F(HostCli, TheFormatFollowsTheExtension) {
    for (const QString& name : {QStringLiteral("shot.jpg"), QStringLiteral("shot.bmp"), QStringLiteral("shot.PNG")}) {
        const HostRun r = run({s_jobDir, QStringLiteral("--snapshot"), out(name), QStringLiteral("--size"),
                           QStringLiteral("64x48")});
        ASSERT_EQ(r.exitCode, 0) << name.toStdString() << r.err.toStdString();
        EXPECT_EQ(QImage(out(name)).size(), QSize(64, 48)) << name.toStdString();
    }
}

TEST_F(HostCli, BadInputEndsTheRunWithOneLineNamingIt) {
    QFile gerber(out(QStringLiteral("board.gbr")));
    ASSERT_TRUE(gerber.open(QIODevice::WriteOnly));
    gerber.write("this is a note, not a job\n");
    gerber.close();
    const QString corrupt = out(QStringLiteral("corrupt"));
    QDir().mkpath(corrupt);
    QFile bad(QDir(corrupt).filePath(QStringLiteral("job.tolva")));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("this is not a job\n");
    bad.close();
    struct Case {
        QStringList args;
        QString mentions;
    };
    const Case cases[] = {
        {{out(QStringLiteral("nowhere")), QStringLiteral("--snapshot"), out(QStringLiteral("x.png"))}, QStringLiteral("nowhere")},
        {{gerber.fileName(), QStringLiteral("--snapshot"), out(QStringLiteral("x.png"))}, QStringLiteral("board.gbr")},
        {{corrupt, QStringLiteral("--snapshot"), out(QStringLiteral("x.png"))}, QStringLiteral("job.tolva")},
        {{s_jobDir, QStringLiteral("--snapshot"), out(QStringLiteral("x.gif"))}, QStringLiteral(".png")},
        {{s_jobDir, QStringLiteral("--snapshot"), out(QStringLiteral("x.png")), QStringLiteral("--layers"),
          QStringLiteral("top,ghost")}, QStringLiteral("ghost")},
        {{s_jobDir, QStringLiteral("--snapshot"), out(QStringLiteral("x.png")), QStringLiteral("--size"),
          QStringLiteral("100000x100000")}, QStringLiteral("too large")},
    };
    for (const Case& c : cases) {
        const HostRun r = run(c.args, 30000);
        ASSERT_TRUE(r.finished) << "a refused run must not wait: " << c.args.join(' ').toStdString();
        EXPECT_NE(r.exitCode, 0) << c.args.join(' ').toStdString();
        EXPECT_TRUE(r.err.contains(c.mentions)) << c.args.join(' ').toStdString() << "\n" << r.err.toStdString();
        EXPECT_FALSE(QFile::exists(out(QStringLiteral("x.png"))));
    }
}

// Fabrication data as a customer sends it: a copper layer, a drill file and
// one file cut short. Given as files, as their folder or as a .zip, the two
// good ones are read and drawn, and the broken one is named.
TEST_F(HostCli, GerberAndExcellonFilesFoldersAndZipsAreRead) {
    const QString dir = out(QStringLiteral("fab"));
    QDir().mkpath(dir);
    const std::map<QString, QByteArray> files = {
        {QStringLiteral("board.gtl"),
         "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,1.0*%\nD10*\nX5000000Y5000000D03*\nX1000000Y1000000D02*\nX9000000Y1000000D01*\nM02*\n"},
        {QStringLiteral("board.drl"), "M48\nMETRIC,TZ\nT1C0.500\n%\nT1\nX2.0Y8.0\nM30\n"},
        {QStringLiteral("broken.gbs"), "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,1.0*%\nD10*\nX5000"},
        {QStringLiteral("readme.txt"), "not fabrication data\n"},
    };
    ASSERT_TRUE(writeFiles(dir, files));
    const QString zipPath = out(QStringLiteral("fab.zip"));
    {
        int error = 0;
        zip_t* z = zip_open(QFile::encodeName(zipPath).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
        ASSERT_NE(z, nullptr);
        for (const auto& f : files) {
            zip_source_t* src = zip_source_buffer(z, f.second.constData(), zip_uint64_t(f.second.size()), 0);
            ASSERT_GE(zip_file_add(z, f.first.toUtf8().constData(), src, ZIP_FL_OVERWRITE), 0);
        }
        ASSERT_EQ(zip_close(z), 0);
    }
    const QStringList asFiles{QDir(dir).filePath(QStringLiteral("board.gtl")), QDir(dir).filePath(QStringLiteral("board.drl")),
                              QDir(dir).filePath(QStringLiteral("broken.gbs"))};
    for (const QStringList& inputs : {asFiles, QStringList{dir}, QStringList{zipPath}}) {
        SCOPED_TRACE(inputs.join(' ').toStdString());
        const QString png = out(QStringLiteral("fab.png"));
        QFile::remove(png);
        const HostRun r = run(inputs + QStringList{QStringLiteral("--snapshot"), png, QStringLiteral("--size"), QStringLiteral("200x200")});
        ASSERT_TRUE(r.finished);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        EXPECT_TRUE(r.err.contains(QStringLiteral("broken.gbs"))) << r.err.toStdString();
        EXPECT_FALSE(r.err.contains(QStringLiteral("readme.txt"))) << "a stray file is passed over";
        const QImage image(png);
        ASSERT_EQ(image.size(), QSize(200, 200));
        // Copper and drill, each in its own palette colour.
        const QSet<QRgb> shown = colours(image);
        EXPECT_TRUE(shown.contains(palette(0))) << "the copper layer is not drawn";
        EXPECT_TRUE(shown.contains(palette(1))) << "the drill layer is not drawn";
        // Without a profile the features are fitted: they span the picture
        // but for a small margin (9 x 7.75 mm fill the 200 pixels across).
        const QRect painted = paintedBounds(image);
        EXPECT_GE(painted.width(), 170) << "the imported board is not fitted to the window";
        EXPECT_LE(painted.width(), 196) << "the fit leaves no margin";
    }
}

// The picture is the board with the view's overlays over it: after --check
// the view stands on the first result, marked in its severity's colour.
TEST_F(HostCli, SnapshotShowsTheOverlaysOverTheBoard) {
    const QString dir = out(QStringLiteral("close"));
    // Two 1 mm pads 50 um apart on a copper layer: a spacing error at any
    // limit the checks start with.
    ASSERT_TRUE(writeFiles(dir, {{QStringLiteral("close.gtl"),
                                  "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,1.0*%\nD10*\nX2000000Y2000000D03*\n"
                                  "X3050000Y2000000D03*\nM02*\n"}}));
    const QRgb errorMark = qRgb(255, 64, 64);
    for (bool check : {false, true}) {
        SCOPED_TRACE(check ? "with --check" : "without --check");
        const QString png = out(QStringLiteral("close.png"));
        QFile::remove(png);
        QStringList args{QDir(dir).filePath(QStringLiteral("close.gtl")), QStringLiteral("--snapshot"), png,
                         QStringLiteral("--size"), QStringLiteral("240x180")};
        if (check) args << QStringLiteral("--check");
        const HostRun r = run(args);
        ASSERT_TRUE(r.finished);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        const QImage image(png);
        ASSERT_EQ(image.size(), QSize(240, 180));
        const QSet<QRgb> shown = colours(image);
        EXPECT_TRUE(shown.contains(palette(0))) << "the board under the overlays is not drawn";
        EXPECT_EQ(shown.contains(errorMark), check) << "the check result's mark";
    }
}

// Layers written out with --export and read back draw the same picture, and
// each file has the format of its layer's type.
TEST_F(HostCli, ExportedLayersReadBackToTheSamePicture) {
    const QString dir = out(QStringLiteral("src"));
    QDir().mkpath(dir);
    const std::map<QString, QByteArray> files = {
        {QStringLiteral("top.gtl"),
         "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,0.8*%\n%ADD11R,2.0X1.0*%\nD10*\nX1000000Y1000000D02*\nX9000000Y3000000D01*\n"
         "G75*G03X5000000Y7000000I-2000000J2000000D01*\nD11*\nX8000000Y8000000D03*\n"
         "G36*X1000000Y5000000D02*X3000000Y5000000D01*X3000000Y8000000D01*X1000000Y5000000D01*G37*\nM02*\n"},
        {QStringLiteral("holes.drl"), "M48\nMETRIC,TZ\nT1C0.600\nT2C1.100\n%\nT1\nX2.0Y2.0\nX6.5Y4.25\nT2\nX8.0Y1.0\nM30\n"},
    };
    ASSERT_TRUE(writeFiles(dir, files));
    const QString exported = out(QStringLiteral("exported"));
    const HostRun written = run({dir, QStringLiteral("--export"), exported});
    ASSERT_TRUE(written.finished);
    ASSERT_EQ(written.exitCode, 0) << written.err.toStdString();
    EXPECT_EQ(QDir(exported).entryList(QDir::Files, QDir::Name), (QStringList{QStringLiteral("holes.drl"), QStringLiteral("top.gbr")}));
    QFile gerber(QDir(exported).filePath(QStringLiteral("top.gbr")));
    ASSERT_TRUE(gerber.open(QIODevice::ReadOnly));
    EXPECT_TRUE(gerber.readAll().contains("%TF.FileFunction,")) << "an artwork layer is written as Gerber X2";
    QFile drill(QDir(exported).filePath(QStringLiteral("holes.drl")));
    ASSERT_TRUE(drill.open(QIODevice::ReadOnly));
    EXPECT_TRUE(drill.readAll().startsWith("M48")) << "a drill layer is written as Excellon";

    const QStringList view{QStringLiteral("--size"), QStringLiteral("160x160"), QStringLiteral("--box"),
                           QStringLiteral("0,0,10,10"), QStringLiteral("--layers"), QStringLiteral("top,holes")};
    QImage pictures[2];
    const QString sources[2] = {dir, exported};
    for (int i = 0; i < 2; ++i) {
        const QString png = out(QStringLiteral("rt%1.png").arg(i));
        const HostRun r = run(QStringList{sources[i], QStringLiteral("--snapshot"), png} + view);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        pictures[i] = QImage(png).convertToFormat(QImage::Format_RGB32);
    }
    ASSERT_EQ(pictures[0].size(), QSize(160, 160));
    EXPECT_GT(colours(pictures[0]).size(), 2) << "the board is not drawn";
    EXPECT_TRUE(pictures[0] == pictures[1]) << "the layers read back draw differently";

    const HostRun refused = run({dir, QStringLiteral("--export"), QStringLiteral("/proc/no/such/dir")});
    EXPECT_NE(refused.exitCode, 0);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("cannot export"))) << refused.err.toStdString();
}

// An archive whose member fails its checksum is refused, naming the member,
// rather than read with a layer silently cut.
TEST_F(HostCli, AZipWithADamagedMemberIsRefused) {
    const QByteArray gerber = "%FSLAX36Y36*%\n%MOMM*%\n%ADD10C,1.0*%\nD10*\nX5000000Y5000000D03*\nM02*\n";
    const QString zipPath = out(QStringLiteral("damaged.zip"));
    {
        int error = 0;
        zip_t* z = zip_open(QFile::encodeName(zipPath).constData(), ZIP_CREATE | ZIP_TRUNCATE, &error);
        ASSERT_NE(z, nullptr);
        zip_source_t* src = zip_source_buffer(z, gerber.constData(), zip_uint64_t(gerber.size()), 0);
        const zip_int64_t index = zip_file_add(z, "top.gtl", src, ZIP_FL_OVERWRITE);
        ASSERT_GE(index, 0);
        ASSERT_EQ(zip_set_file_compression(z, zip_uint64_t(index), ZIP_CM_STORE, 0), 0);
        ASSERT_EQ(zip_close(z), 0);
    }
    QFile file(zipPath);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    const int at = bytes.indexOf("X5000000Y5000000D03");  // stored: the text is in the archive as is
    ASSERT_GE(at, 0);
    bytes[at + 1] = '6';
    file.seek(0);
    file.write(bytes);
    file.close();
    const HostRun r = run({zipPath, QStringLiteral("--snapshot"), out(QStringLiteral("damaged.png"))});
    ASSERT_TRUE(r.finished);
    EXPECT_NE(r.exitCode, 0);
    EXPECT_TRUE(r.err.contains(QStringLiteral("top.gtl is damaged"))) << r.err.toStdString();
    EXPECT_FALSE(QFile::exists(out(QStringLiteral("damaged.png"))));
}

TEST_F(HostCli, LogsGoToTheApplicationFolder) {
    const HostRun r = run({s_jobDir, QStringLiteral("--snapshot"), out(QStringLiteral("log.png")), QStringLiteral("--size"),
                       QStringLiteral("32x32")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    QFile log(QDir(s_home->path()).filePath(QStringLiteral("logs/tolva_host.log")));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(log.readAll().contains("Graphic_View.dll loaded"));
    const HostRun help = run({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option : {"--snapshot", "--size", "--layers", "--box"})
        EXPECT_TRUE(help.out.contains(QLatin1String(option))) << option;
}

}  // namespace

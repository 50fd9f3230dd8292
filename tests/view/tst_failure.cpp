// Kernel failures: both kinds of thrown text and standard exceptions, and
// the GBK labels of the two log lines.
#include <gtest/gtest.h>

#include <QTextCodec>
#include <stdexcept>
#include <string>

#include "core/failure.h"

using namespace TOLVA::GRAPHIC;

TEST(Failure, DescribesEveryKindOfThrow) {
    struct Case { std::exception_ptr error; FailureKind kind; const char* text; };
    const Case cases[] = {
        {std::make_exception_ptr(std::string("layer 'top' not found")), FailureKind::Text, "layer 'top' not found"},
        {std::make_exception_ptr(static_cast<const char*>("bad box")), FailureKind::Text, "bad box"},
        {std::make_exception_ptr(std::runtime_error("out of range")), FailureKind::Standard, "out of range"},
        {std::make_exception_ptr(42), FailureKind::Other, "unknown error"},
    };
    for (const Case& c : cases) {
        const FailureInfo info = describeFailure(c.error);
        EXPECT_EQ(info.kind, c.kind) << c.text;
        EXPECT_EQ(info.text, QString::fromUtf8(c.text));
    }
}

TEST(Failure, LabelsAreGbk) {
    QTextCodec* gbk = QTextCodec::codecForName("GBK");
    ASSERT_NE(gbk, nullptr);
    EXPECT_EQ(QByteArray(kFailurePositionLabel), gbk->fromUnicode(QStringLiteral("异常位置：")));
    EXPECT_EQ(QByteArray(kFailureDescriptionLabel), gbk->fromUnicode(QStringLiteral("异常描述：")));
}

TEST(Failure, BaseNameDropsDirectories) {
    EXPECT_STREQ(baseName("/a/b/graphic_view.cpp"), "graphic_view.cpp");
    EXPECT_STREQ(baseName("C:\\src\\x.cpp"), "x.cpp");
    EXPECT_STREQ(baseName("plain.cpp"), "plain.cpp");
}

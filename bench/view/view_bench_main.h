#pragma once
// The main of the widget benchmarks: quiet logging (the view's INFO and
// WARNING lines would drown the table), the offscreen platform unless
// another is asked for, one QApplication, and `release` run after the
// benchmarks so that the views they built go before the application.
#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <QApplication>

template <class Release>
int runViewBenchmarks(int argc, char** argv, Release&& release) {
    google::InitGoogleLogging(argv[0]);
    FLAGS_minloglevel = 2;
    FLAGS_logtostderr = true;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    release();
    benchmark::Shutdown();
    return 0;
}

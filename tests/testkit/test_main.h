#pragma once

#include <QApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTest>

// A QTest main that runs offscreen unless told otherwise, with writable runtime and temp
// folders, so GUI tests run on a bare CI machine (test discovery runs the binary too).
#define KORVA_TEST_MAIN(TestObject)                                                                \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))                                        \
            qputenv("QT_QPA_PLATFORM", "offscreen");                                               \
        const QString runtime = QDir::temp().filePath(QStringLiteral("korva-test-runtime"));       \
        QDir().mkpath(runtime);                                                                    \
        QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner |          \
                                           QFileDevice::ExeOwner);                                 \
        if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))                                        \
            qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());                                     \
        QApplication app(argc, argv);                                                              \
        QStandardPaths::setTestModeEnabled(true);                                                  \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                   \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }

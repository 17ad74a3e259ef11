#pragma once

// The set-up every fuzz target shares: a GUI application on the offscreen
// platform (layers hold pixmaps, fonts and pens), quiet debug output, and a
// scratch folder for the inputs.

#include <QDir>
#include <QFont>
#include <QFontInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace Kestrum {

// Damaged input is reported through qDebug; printing that for every input
// would slow the fuzzer down for nothing.
inline void quietFuzzMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "qFatal: %s\n", qPrintable(message));
        std::abort();
    }
}

// Starts the application once and returns a folder that lives as long as the
// process, in memory where /dev/shm exists.
inline QString startFuzzTarget(const char* name)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(quietFuzzMessages);
    static int argc = 1;
    static QByteArray program(name);
    static char* argv[] = {program.data(), nullptr};
    static QGuiApplication* app = new QGuiApplication(argc, argv);
    Q_UNUSED(app);
    // Fontconfig reads its configuration once, on the first font lookup, and
    // keeps it: done here, that is not taken for a leak of the first input
    // that holds a font.
    QFontInfo(QFont(QStringLiteral("Sans"), 9)).family();

    const QString base = QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
    static QTemporaryDir dir(base + QLatin1Char('/') + QLatin1String(name) + QStringLiteral("-XXXXXX"));
    if (!dir.isValid()) {
        std::fprintf(stderr, "no temporary directory under %s\n", qPrintable(base));
        std::abort();
    }
    return dir.path();
}

} // namespace Kestrum

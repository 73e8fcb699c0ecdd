#include "fuzzsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace {

// A fatal message ends the process, and then its text is the one clue.
void dropAllButFatal(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(message));
}

} // namespace

namespace FuzzSupport {

void start()
{
    static int argc = 1;
    static char name[] = "fuzzer";
    static char *argv[] = {name, nullptr};
    // Never destroyed: the singletons under test outlive every input.
    new QCoreApplication(argc, argv);
    qInstallMessageHandler(dropAllButFatal);

    static QTemporaryDir workDir;
    if (!workDir.isValid() || !QDir::setCurrent(workDir.path())) {
        std::fprintf(stderr, "No temporary working folder\n");
        std::abort();
    }
}

void deliverPosted()
{
    QCoreApplication::sendPostedEvents();
}

} // namespace FuzzSupport

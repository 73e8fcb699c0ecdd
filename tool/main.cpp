#include "ctool.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    CTool tool;
    return tool.run(QCoreApplication::arguments(), out, err);
}

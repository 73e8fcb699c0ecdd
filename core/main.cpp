#include "core/clogfile.h"
#include "core/constants.h"
#include "core/csettings.h"
#include "server/apitypes.h"
#include "server/cserverhandler.h"
#include "ui/theme.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QLocale>
#include <QTranslator>

#include <clocale>

int main(int argc, char *argv[])
{
    setlocale(LC_ALL, "");

    QApplication app(argc, argv);
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/Icon.png")));

    QTranslator translator;
    if (QLocale::system().name().contains(QLatin1String("ru"))
        && translator.load(QStringLiteral(":/iot_orvane_modbus.qm"), QString(), QString(), QString())) {
        QCoreApplication::installTranslator(&translator);
    }

    qRegisterMetaType<CLogFile::ELogMessageType>("CLogFile::ELogMessageType");

    QFile styleFile(QStringLiteral("://style/style.qss"));
    styleFile.open(QIODevice::ReadOnly);
    QString rawStyle = QString::fromUtf8(styleFile.readAll());
    styleFile.close();
    app.setStyleSheet(expandStyleSheet(rawStyle));

    registerApiMetaTypes();

    CSettings::getInstance(FileName::settings);
    CLogFile::getInstance(FileName::logBase, QString());
    CServerHandler::getInstance();

    return app.exec();
}

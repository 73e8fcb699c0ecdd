#include "core/cstopsignals.h"

#include <QtTest>

#include <csignal>

class TestCStopSignals : public QObject
{
    Q_OBJECT

private slots:
    void signalEndsTheEventLoop_data()
    {
        QTest::addColumn<int>("signalNumber");
        QTest::addColumn<QString>("name");
        QTest::newRow("SIGTERM") << SIGTERM << QStringLiteral("SIGTERM");
        QTest::newRow("SIGINT") << SIGINT << QStringLiteral("SIGINT");
    }

    // Without a handler the signal ends the test process itself.
    void signalEndsTheEventLoop()
    {
        QFETCH(int, signalNumber);
        QFETCH(QString, name);
        CStopSignals stopSignals;
        QSignalSpy spy(&stopSignals, &CStopSignals::stopRequested);
        connect(&stopSignals, &CStopSignals::stopRequested, qApp, &QCoreApplication::quit);
        QTimer::singleShot(0, [signalNumber] { std::raise(signalNumber); });

        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), signalNumber);
        QCOMPARE(CStopSignals::name(signalNumber), name);
    }
};

QTEST_GUILESS_MAIN(TestCStopSignals)
#include "tst_cstopsignals.moc"

#include "logspy.h"
#include "programcore.h"
#include "testworkdir.h"
#include "ui/mainwindow.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

// A start with nothing stored: no login is attempted until every field of the
// login block is filled.
class TestMainWindowIdle : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void startsIdleWithoutCredentials();
    void connectNeedsEveryField_data();
    void connectNeedsEveryField();

private:
    template<typename T>
    T *child(const QString &name) const
    {
        return m_window->findChild<T *>(name);
    }

    TestWorkDir m_workDir;
    std::unique_ptr<ProgramCore> m_core;
    std::unique_ptr<LogSpy> m_log;
    std::unique_ptr<MainWindow> m_window;
};

void TestMainWindowIdle::initTestCase()
{
    m_core = std::make_unique<ProgramCore>(QStringLiteral(SAMPLE_TEMPLATES_DIR));
    m_log = std::make_unique<LogSpy>();
    m_window = std::make_unique<MainWindow>();
}

void TestMainWindowIdle::cleanupTestCase()
{
    m_window.reset();
    m_core.reset();
}

void TestMainWindowIdle::startsIdleWithoutCredentials()
{
    QTRY_VERIFY(m_log->lines().contains(QStringLiteral("[main] IP is empty")));
    QTest::qWait(50);
    QCOMPARE(child<QLabel>(QStringLiteral("statusLabel"))->text(), QStringLiteral("Connection state..."));
    QCOMPARE(child<QLabel>(QStringLiteral("title2Lab"))->text(), QStringLiteral("Device [UNKNOWN]"));
}

void TestMainWindowIdle::connectNeedsEveryField_data()
{
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<QString>("logLine");
    QTest::addColumn<QString>("origin");

    const QString ip = QStringLiteral("127.0.0.1");
    QTest::newRow("no address") << QStringList{"", "4000", "user", "secret"} << "[main] IP is empty" << QString();
    QTest::newRow("no port") << QStringList{ip, "", "user", "secret"} << "[main] PORT is empty" << QString();
    QTest::newRow("no login") << QStringList{ip, "4000", "", "secret"} << "[main] LOGIN is empty" << QString();
    QTest::newRow("no password") << QStringList{ip, "4000", "user", ""} << "[main] PASSWORD is empty" << QString();
    QTest::newRow("four-digit port") << QStringList{ip, "4000", "user", "secret"} << QString() << "ws://127.0.0.1:4000";
    QTest::newRow("secure scheme") << QStringList{ip, "4000", "user", "secret", "wss"} << QString()
                                   << "wss://127.0.0.1:4000";
}

void TestMainWindowIdle::connectNeedsEveryField()
{
    QFETCH(QStringList, fields);
    QFETCH(QString, logLine);
    QFETCH(QString, origin);

    const QStringList edits = {"ipEdit", "portEdit", "loginEdit", "passwordEdit"};
    for (int index = 0; index < edits.size(); ++index)
        child<QLineEdit>(edits.at(index))->setText(fields.at(index));
    child<QComboBox>(QStringLiteral("schemeBox"))->setCurrentText(fields.value(4, QStringLiteral("ws")));
    m_log->forget();
    QSignalSpy requests(m_window.get(), &MainWindow::connectToServer);

    child<QPushButton>(QStringLiteral("blueBtn"))->click();
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_log->lines(), logLine.isEmpty() ? QStringList() : QStringList{logLine});
    QCOMPARE(requests.size(), origin.isEmpty() ? 0 : 1);
    if (!origin.isEmpty())
        QCOMPARE(requests.at(0), (QVariantList{origin, fields.at(2), fields.at(3)}));
}

QTEST_MAIN(TestMainWindowIdle)
#include "tst_mainwindowidle.moc"

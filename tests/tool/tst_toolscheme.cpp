#include "programcore.h"
#include "testworkdir.h"
#include "toolrun.h"
#include "ui/mainwindow.h"

#include <QComboBox>
#include <QtTest>

// The scheme that quillbar-tool login stores is the one the window starts with.
class TestToolScheme : public QObject
{
    Q_OBJECT

    TestWorkDir m_workDir;

private slots:
    void windowStartsWithTheStoredScheme()
    {
        const SToolRun run = runToolWithInput({QStringLiteral("login"), QStringLiteral("--host"),
                                               QStringLiteral("127.0.0.1"), QStringLiteral("--port"),
                                               QStringLiteral("1"), QStringLiteral("--user"),
                                               QStringLiteral("plant"), QStringLiteral("--scheme"),
                                               QStringLiteral("wss")},
                                              "pw\n");
        QCOMPARE(run.exitCode, 0);
        ProgramCore core{QStringLiteral(SAMPLE_TEMPLATES_DIR)};
        ProgramCore::startForms();
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>(QStringLiteral("schemeBox"))->currentText(), QStringLiteral("wss"));
    }
};

QTEST_MAIN(TestToolScheme)
#include "tst_toolscheme.moc"

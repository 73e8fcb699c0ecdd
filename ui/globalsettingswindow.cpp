#include "globalsettingswindow.h"

#include "core/constants.h"
#include "core/csettings.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>

namespace {
constexpr int kButtonPointSize = 9;

QHBoxLayout *rowLayout(const QString &name)
{
    auto *layout = new QHBoxLayout;
    layout->setObjectName(name);
    return layout;
}
} // namespace

GlobalSettingsWindow::GlobalSettingsWindow()
    : m_useLogBox(new QCheckBox(tr("Включить логирование"), this))
    , m_expandedLogBox(new QCheckBox(tr("Расширенное логирование"), this))
    , m_fileCountLabel(new QLabel(tr("Количество файлов для логирования:"), this))
    , m_fileSizeLabel(new QLabel(tr("Максимальный размер лога(МБ):"), this))
    , m_fileCountBox(new QSpinBox(this))
    , m_fileSizeBox(new QSpinBox(this))
    , m_buttonBox(new QDialogButtonBox(QDialogButtonBox::Close | QDialogButtonBox::Save, this))
{
    m_useLogBox->setObjectName(QStringLiteral("UseLog"));
    m_expandedLogBox->setObjectName(QStringLiteral("checkBox"));
    m_fileCountLabel->setObjectName(QStringLiteral("LBLFileCounter"));
    m_fileSizeLabel->setObjectName(QStringLiteral("LBLFileMaxSize"));
    m_fileCountBox->setObjectName(QStringLiteral("spinBox"));
    m_fileSizeBox->setObjectName(QStringLiteral("FileMaxSize"));
    m_buttonBox->setObjectName(QStringLiteral("buttonBox"));

    m_fileCountBox->setRange(SettingsDefault::leastFiles, SettingsDefault::mostFiles);
    m_fileSizeBox->setRange(0, SettingsDefault::mostFileSizeMb);

    // The box stands to the right of its text.
    for (QCheckBox *box : {m_useLogBox, m_expandedLogBox}) {
        box->setLayoutDirection(Qt::RightToLeft);
        box->setAutoFillBackground(false);
    }

    m_buttonBox->setLayoutDirection(Qt::LeftToRight);
    m_buttonBox->setCenterButtons(false);
    QFont buttonFont = m_buttonBox->font();
    buttonFont.setPointSize(kButtonPointSize);
    QPushButton *closeButton = m_buttonBox->button(QDialogButtonBox::Close);
    closeButton->setText(tr("Отмена"));
    closeButton->setFont(buttonFont);
    QPushButton *saveButton = m_buttonBox->button(QDialogButtonBox::Save);
    saveButton->setText(tr("Сохранить"));
    saveButton->setFont(buttonFont);

    buildLayout();
    readSettings();

    connect(m_buttonBox, &QDialogButtonBox::accepted, this, &GlobalSettingsWindow::saveSettings);
    connect(m_buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void GlobalSettingsWindow::saveSettings()
{
    CSettings::writeValue(SettingsKey::useLog, m_useLogBox->isChecked());
    CSettings::writeValue(SettingsKey::expandedLog, m_expandedLogBox->isChecked());
    CSettings::writeValue(SettingsKey::maxFilesCounter, m_fileCountBox->value());
    CSettings::writeValue(SettingsKey::fileMaxSize, m_fileSizeBox->value() * SettingsDefault::bytesPerMb);
    close();
}

void GlobalSettingsWindow::buildLayout()
{
    auto *grid = new QGridLayout(this);
    grid->setObjectName(QStringLiteral("gridLayout"));

    QHBoxLayout *useLogRow = rowLayout(QStringLiteral("horizontalLayout_3"));
    useLogRow->addWidget(m_useLogBox);
    grid->addLayout(useLogRow, 0, 0);

    QHBoxLayout *fileCountRow = rowLayout(QStringLiteral("horizontalLayout"));
    fileCountRow->addWidget(m_fileCountLabel);
    fileCountRow->addWidget(m_fileCountBox);
    grid->addLayout(fileCountRow, 1, 0);

    QHBoxLayout *fileSizeRow = rowLayout(QStringLiteral("horizontalLayout_2"));
    fileSizeRow->addWidget(m_fileSizeLabel);
    fileSizeRow->addWidget(m_fileSizeBox);
    grid->addLayout(fileSizeRow, 4, 0);

    QHBoxLayout *expandedLogRow = rowLayout(QStringLiteral("horizontalLayout_4"));
    expandedLogRow->addWidget(m_expandedLogBox);
    grid->addLayout(expandedLogRow, 5, 0);

    grid->addWidget(m_buttonBox, 6, 0);
}

void GlobalSettingsWindow::readSettings()
{
    using namespace SettingsDefault;
    m_useLogBox->setChecked(CSettings::readValue(SettingsKey::useLog, useLog).toBool());
    m_fileCountBox->setValue(CSettings::readValue(SettingsKey::maxFilesCounter, maxFilesOffered).toInt());
    m_expandedLogBox->setChecked(CSettings::readValue(SettingsKey::expandedLog, expandedLog).toBool());
    const qint64 sizeMb = CSettings::readValue(SettingsKey::fileMaxSize, fileMaxSize).toLongLong() / bytesPerMb;
    m_fileSizeBox->setValue(static_cast<int>(qBound(qint64(0), sizeMb, qint64(mostFileSizeMb))));
}

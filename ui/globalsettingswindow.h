#pragma once

#include <QDialog>

class QCheckBox;
class QDialogButtonBox;
class QLabel;
class QSpinBox;

// The logging settings: whether to log, how many files to keep and the size
// at which a file is rotated. It reads the settings when built and writes them
// on Save only.
class GlobalSettingsWindow : public QDialog
{
    Q_OBJECT

public:
    GlobalSettingsWindow();

public slots:
    void saveSettings();

private:
    void buildLayout();
    void readSettings();

    QCheckBox *m_useLogBox;
    QCheckBox *m_expandedLogBox;
    QLabel *m_fileCountLabel;
    QLabel *m_fileSizeLabel;
    QSpinBox *m_fileCountBox;
    QSpinBox *m_fileSizeBox;
    QDialogButtonBox *m_buttonBox;
};

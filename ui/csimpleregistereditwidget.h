#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;

// The in-place editor of a numeric register's scaling: the additive value, the
// multiplier and the unit, beside the register's name, the formula and the
// decimals the stored value keeps.
class CSimpleRegisterEditWidget : public QWidget
{
    Q_OBJECT

public:
    explicit CSimpleRegisterEditWidget(QWidget *parent = nullptr);

public slots:
    void setData(QString name, double _extraValue, double _multiplier, QString _units);
    double getExtraValue();
    double getMultiplier();
    QString getUnits();
    void setDecimals(int decimals);
    int getDecimals();

private:
    QLineEdit *m_extraValueEdit;
    QLineEdit *m_multiplierEdit;
    QLineEdit *m_unitsEdit;
    QLabel *m_nameLabel;
    QLineEdit *m_decimalsEdit;
};

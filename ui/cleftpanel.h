#pragma once

#include <QWidget>

class QVBoxLayout;

// The dark vertical strip on the left of the main window that holds the
// panel buttons. Its background comes from the style sheet.
class CLeftPanel : public QWidget
{
    Q_OBJECT

public:
    explicit CLeftPanel(QWidget *parent = nullptr);

    // A null widget is ignored.
    void addWidget(QWidget *widget, int stretch = 0, Qt::Alignment alignment = Qt::Alignment());

public slots:
    // Gives the widget (by default the sender) most of the free height.
    void expandWidget(QWidget *wdgt = nullptr);
    void unexpandAll();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QVBoxLayout *m_layout;
};

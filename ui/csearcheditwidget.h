#pragma once

#include <QWidget>

class QHBoxLayout;
class QLineEdit;
class QPushButton;

// A line edit with a search and a clear button. A search is started on
// request only (the button, Return or Enter, clearing), never by typing alone:
// textChangedSignal carries the request, textImmediatelyChanged every edit.
class CSearchEditWidget : public QWidget
{
    Q_OBJECT

public:
    explicit CSearchEditWidget(QWidget *parent = nullptr);

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    void textImmediatelyChanged(QString _text);
    void textChangedSignal(QString _text);

public slots:
    void textChangedSlot();
    void textClearSlot();
    void setText(QString _text = QString());
    void clear();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QHBoxLayout *m_layout;
    QLineEdit *m_lineEdit;
    QPushButton *m_searchButton;
    QPushButton *m_clearButton;
};

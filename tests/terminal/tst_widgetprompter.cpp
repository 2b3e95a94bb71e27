// The window's prompter: each question's box, its default and what each
// button answers; the program's line breaks; file filters in Qt's form.
#include "terminal/widgetprompter.h"

#include <QApplication>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

class TestWidgetPrompter : public QObject
{
    Q_OBJECT

    QString m_seen; // title|text|icon|default button of the last box answered

    // Presses `button` on the box the prompter shows next, after noting how it looks.
    void answerBox(QMessageBox::StandardButton button)
    {
        m_seen.clear();
        QTimer::singleShot(0, this, [this, button] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            QVERIFY(box);
            m_seen = QStringLiteral("%1|%2|%3|%4").arg(box->windowTitle(), box->text()).arg(box->icon())
                       .arg(box->standardButton(box->defaultButton()));
            box->button(button)->click();
        });
    }

private slots:
    void boxesAnswerAsPressed()
    {
        WidgetPrompter p;
        answerBox(QMessageBox::Yes);
        QVERIFY(p.askYesNo(QStringLiteral("a\rb\r\nc"), QStringLiteral("T"), Prompter::Warning));
        QCOMPARE(m_seen, QStringLiteral("T|a\nb\nc|%1|%2").arg(QMessageBox::Warning).arg(QMessageBox::No));
        answerBox(QMessageBox::No);
        QVERIFY(!p.askYesNo(QStringLiteral("q"), QStringLiteral("T"), Prompter::Question));
        QCOMPARE(m_seen, QStringLiteral("T|q|%1|%2").arg(QMessageBox::Question).arg(QMessageBox::No));
        answerBox(QMessageBox::Ok);
        QVERIFY(p.askOkCancel(QStringLiteral("q"), QStringLiteral("U"), Prompter::Critical));
        QCOMPARE(m_seen, QStringLiteral("U|q|%1|%2").arg(QMessageBox::Critical).arg(QMessageBox::Ok));
        answerBox(QMessageBox::Cancel);
        QVERIFY(!p.askOkCancel(QStringLiteral("q"), QStringLiteral("U"), Prompter::Exclamation));
        QCOMPARE(m_seen, QStringLiteral("U|q|%1|%2").arg(QMessageBox::Warning).arg(QMessageBox::Ok));
        answerBox(QMessageBox::Ok);
        p.message(QStringLiteral("m"), QStringLiteral("V"), Prompter::Information);
        QCOMPARE(m_seen, QStringLiteral("V|m|%1|%2").arg(QMessageBox::Information).arg(QMessageBox::Ok));
    }

    void inputBoxTakesTheTextOnlyOnOk()
    {
        WidgetPrompter p;
        for (const bool accept : {true, false}) {
            QString label;
            QTimer::singleShot(0, this, [&] {
                auto *d = qobject_cast<QInputDialog *>(QApplication::activeModalWidget());
                QVERIFY(d);
                label = d->windowTitle() + QLatin1Char('|') + d->labelText() + QLatin1Char('|') + d->textValue();
                d->setTextValue(QStringLiteral("42"));
                accept ? d->accept() : d->reject();
            });
            QString answer = QStringLiteral("kept");
            QCOMPARE(p.inputBox(QStringLiteral("Enter\rvalue"), QStringLiteral("W"), QStringLiteral("7"), &answer), accept);
            QCOMPARE(answer, accept ? QStringLiteral("42") : QStringLiteral("kept"));
            QCOMPARE(label, QStringLiteral("W|Enter\nvalue|7"));
        }
    }

    void filtersInQtsForm()
    {
        QCOMPARE(WidgetPrompter::qtFilter(QStringLiteral("Memory Log (*.MLG)|*.mlg|All Files (*.*)|*.*")),
                 QStringLiteral("Memory Log (*.mlg);;All Files (*)"));
        QCOMPARE(WidgetPrompter::qtFilter(QStringLiteral("Tables|*.epr;*.txt|Half")), QStringLiteral("Tables (*.epr *.txt)"));
    }
};

QTEST_MAIN(TestWidgetPrompter)
#include "tst_widgetprompter.moc"

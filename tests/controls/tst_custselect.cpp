// The customer picker over the test kit's broker: what it asks, which answer it shows, and
// how a customer is chosen.
#include "platform/controls/custselect.h"
#include "test_main.h"
#include "testkit.h"

#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <array>

using namespace korva;

namespace {

// Rows of id, name and alert flag, as the server sends them.
RecordSetPtr customers(std::initializer_list<std::array<const char *, 3>> rows)
{
    QList<QList<QVariant>> values;
    for (const auto &r : rows)
        values.append({QString::fromUtf8(r[0]), QString::fromUtf8(r[1]), QString::fromUtf8(r[2])});
    return testkit::makeRecordSet(QStringLiteral("CUSTOMER"),
                                  {{QStringLiteral("CUST_ID"), FieldType::Text},
                                   {QStringLiteral("CUST_NM"), FieldType::Text},
                                   {QStringLiteral("HAS_ALRT"), FieldType::Text}},
                                  values);
}

struct Picker {
    Picker()
    {
        auto *layout = new QVBoxLayout(&dialog);
        select = new KORVA_CustSelect(&dialog);
        layout->addWidget(select);
        // The pause in typing comes when a test says so, never from the clock.
        select->setDebounce(kNever);
        debounce = select->findChild<QTimer *>(QStringLiteral("tmrDebounce"));
        text = select->findChild<QLineEdit *>(QStringLiteral("txtCustomer"));
        found = select->findChild<QTreeWidget *>(QStringLiteral("lstCustomers"));
        busy = select->findChild<QLabel *>(QStringLiteral("lblBusy"));
        dialog.show();
        text->setFocus();
    }
    void type(const QString &t) { QTest::keyClicks(text, t); }
    // The user pauses: the search the keystrokes armed goes out now. True when that made
    // `count` requests in all.
    bool pauseTyping(int count)
    {
        if (!debounce->isActive())
            return false;
        debounce->setInterval(0);
        const bool fired = QTest::qWaitFor([&] { return !debounce->isActive(); });
        debounce->setInterval(kNever);
        return fired && sent().size() == count;
    }
    QList<testkit::FakeBroker::Sent> &sent() { return tp.fakeBroker.sent; }
    QStringList names() const
    {
        QStringList out;
        for (int i = 0; i < found->topLevelItemCount(); ++i)
            out.append(found->topLevelItem(i)->text(0));
        return out;
    }

    testkit::TestPlatform tp;
    QDialog dialog;
    KORVA_CustSelect *select;
    QLineEdit *text;
    QTreeWidget *found;
    QLabel *busy;
    QTimer *debounce;
    static constexpr int kNever = 24 * 3600 * 1000;
};

} // namespace

class TestCustSelect : public QObject {
    Q_OBJECT
private slots:
    void aPauseInTypingSendsOneSearch()
    {
        Picker p;
        p.type(QStringLiteral("acm"));
        QVERIFY(p.pauseTyping(1)); // the three keystrokes made one search
        QVERIFY(!p.debounce->isActive());
        const BrokerRequest &r = p.sent().last().request;
        QCOMPARE(r.kind(), 93);
        QCOMPARE(r.messageId(), QStringLiteral("KORVA.CustSelect"));
        QCOMPARE(r.keyValue(u"TEXT"), QStringLiteral("acm"));
        QCOMPARE(r.keyValue(u"LIMIT"), QString::number(KORVA_CustSelect::kSearchLimit));
        QCOMPARE(r.context(), p.tp.fakeUser.contextText());
        QVERIFY(p.select->isBusy());
        QVERIFY(p.busy->isVisible());

        p.tp.fakeBroker.replyGood({customers({{"400000001", "Acme Hardware LLC #0", "N"}})});
        QVERIFY(!p.select->isBusy());
        QVERIFY(!p.busy->isVisible());
        QCOMPARE(p.names(), QStringList{QStringLiteral("Acme Hardware LLC #0")});
        // Showing what was found chooses nothing.
        QCOMPARE(p.select->CustomerID(), QString());
    }

    void onlyTheLatestAnswerIsShown()
    {
        Picker p;
        p.type(QStringLiteral("s"));
        QVERIFY(p.pauseTyping(1));
        p.type(QStringLiteral("m"));
        QVERIFY(p.pauseTyping(2));
        QCOMPARE(p.sent().at(1).request.keyValue(u"TEXT"), QStringLiteral("sm"));

        // The first answer, overtaken by the second question, is dropped and the search
        // still counts as running.
        p.tp.fakeBroker.replyGood({customers({{"1", "SATO, ANN", "N"}})}, 0);
        QVERIFY(p.select->isBusy());
        QCOMPARE(p.found->topLevelItemCount(), 0);

        p.tp.fakeBroker.replyGood(
            {customers({{"2", "SMITH, LEE", "N"}, {"3", "SMYTHE, AIKO", "Y"}})}, 1);
        QVERIFY(!p.select->isBusy());
        QCOMPARE(p.names(),
                 (QStringList{QStringLiteral("SMITH, LEE"), QStringLiteral("SMYTHE, AIKO")}));

        // A late first answer after the latest one changes nothing either.
        p.tp.fakeBroker.replyGood({customers({{"1", "SATO, ANN", "N"}})}, 0);
        QCOMPARE(p.found->topLevelItemCount(), 2);

        // Emptying the text drops whatever still runs.
        p.type(QStringLiteral("i"));
        QVERIFY(p.pauseTyping(3));
        for (int i = 0; i < 3; ++i)
            QTest::keyClick(p.text, Qt::Key_Backspace);
        QCOMPARE(p.text->text(), QString());
        QVERIFY(!p.select->isBusy());
        QCOMPARE(p.found->topLevelItemCount(), 0);
        p.tp.fakeBroker.replyGood({customers({{"2", "SMITH, LEE", "N"}})}, 2);
        QCOMPARE(p.found->topLevelItemCount(), 0);
        QVERIFY(!p.debounce->isActive()); // and nothing is left to send
        QCOMPARE(p.sent().size(), 3);
    }

    void aFailedSearchSaysSoAndStopsBeingBusy()
    {
        Picker p;
        p.type(QStringLiteral("x"));
        QVERIFY(p.pauseTyping(1));
        p.tp.fakeBroker.timeoutThenBad(QStringLiteral("The message broker did not answer."));
        QVERIFY(!p.select->isBusy());
        QVERIFY(p.busy->isVisible());
        QVERIFY(p.busy->text().contains(QStringLiteral("did not answer")));
        QVERIFY(p.tp.boxes.shown.isEmpty()); // a picker never stops the user with a box
    }

    void aCustomerIsChosenByKeyboardOrMouse()
    {
        Picker p;
        QSignalSpy changed(p.select, &KORVA_CustSelect::SelectionChanged);
        QSignalSpy alerts(p.select, &KORVA_CustSelect::HasAlerts);
        p.type(QStringLiteral("r"));
        QVERIFY(p.pauseTyping(1));
        p.tp.fakeBroker.replyGood({customers({{"400000010", "RAMOS, ROSA", "N"},
                                              {"400000011", "RUSSO, OMAR", "Y"},
                                              {"400000012", "Riverside Bakery #12", "N"}})});

        // Down past the end stays on the last row; Up comes back; Enter chooses.
        for (int i = 0; i < 3; ++i)
            QTest::keyClick(p.text, Qt::Key_Down);
        QTest::keyClick(p.text, Qt::Key_Up);
        QTest::keyClick(p.text, Qt::Key_Return);
        QCOMPARE(p.select->CustomerID(), QStringLiteral("400000011"));
        QCOMPARE(p.select->CustomerName(), QStringLiteral("RUSSO, OMAR"));
        QCOMPARE(p.text->text(), QStringLiteral("RUSSO, OMAR"));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(alerts.size(), 1);
        QCOMPARE(alerts.last().at(0).toBool(), true);
        QVERIFY(p.select->findChild<QLabel *>(QStringLiteral("lblAlerts"))->isVisible());
        // Enter was the picker's: the dialog around it is still open.
        QVERIFY(p.dialog.isVisible());
        QCOMPARE(p.dialog.result(), 0);

        // The same customer again is no change.
        QTest::keyClick(p.text, Qt::Key_Return);
        QCOMPARE(changed.size(), 1);

        QTreeWidgetItem *first = p.found->topLevelItem(0);
        QTest::mouseClick(p.found->viewport(), Qt::LeftButton, {},
                          p.found->visualItemRect(first).center());
        QCOMPARE(p.select->CustomerID(), QStringLiteral("400000010"));
        QCOMPARE(changed.size(), 2);
        QCOMPARE(alerts.last().at(0).toBool(), false);
        QVERIFY(!p.select->findChild<QLabel *>(QStringLiteral("lblAlerts"))->isVisible());

        // Typing again searches again but keeps the chosen customer until another is chosen.
        p.type(QStringLiteral("x"));
        QVERIFY(p.pauseTyping(2));
        QCOMPARE(p.select->CustomerID(), QStringLiteral("400000010"));
    }

    void enterBeforeThePauseSearchesAtOnce()
    {
        Picker p;
        p.type(QStringLiteral("400"));
        QCOMPARE(p.sent().size(), 0);
        QTest::keyClick(p.text, Qt::Key_Enter);
        QCOMPARE(p.sent().size(), 1);
        QCOMPARE(p.sent().last().request.keyValue(u"TEXT"), QStringLiteral("400"));
        // Nothing chosen while the answer is awaited.
        QTest::keyClick(p.text, Qt::Key_Enter);
        QCOMPARE(p.sent().size(), 1);
        QCOMPARE(p.select->CustomerID(), QString());
    }
};

KORVA_TEST_MAIN(TestCustSelect)
#include "tst_custselect.moc"

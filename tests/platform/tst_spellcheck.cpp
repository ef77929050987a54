#include "platform/spellcheck.h"
#include "platform/spellcheckdialog.h"
#include "platform/spellchecksession.h"
#include "test_main.h"

#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>

using namespace korva;

namespace {

QStringList tokenWords(const QString &text)
{
    QStringList words;
    for (const SpellToken &t : spellingTokens(text))
        words.append(text.mid(t.position, t.length));
    return words;
}

} // namespace

class TestSpellCheck : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    SpellCheckSettings m_settings;
    std::shared_ptr<HunspellDictionary> m_dictionary;

    SpellCheckSettings freshSettings(const QString &wordsName)
    {
        SpellCheckSettings s = m_settings;
        s.userWordsFile = m_dir.filePath(wordsName);
        return s;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_settings = SpellCheckSettings::standard();
        m_settings.userWordsFile = m_dir.filePath(QStringLiteral("words.txt"));
        QString why;
        m_dictionary = loadHunspellDictionary(m_settings, &why);
        if (!m_dictionary)
            QSKIP(qPrintable(QStringLiteral("No Hunspell dictionary on this machine: ") + why));
    }

    void tokensAreWordsNotCodesNumbersOrAddresses_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("words"); // joined by "|"
        QTest::newRow("plain") << QStringLiteral("Teh quick, brown fox.")
                               << QStringLiteral("Teh|quick|brown|fox");
        QTest::newRow("codes and numbers")
            << QStringLiteral("Citation 1234567 for IRS form ABC12x on 2026-11-22, $12.50 due")
            << QStringLiteral("Citation|for|form|on|due");
        QTest::newRow("apostrophes") << QStringLiteral("don't 'quoted' officer\u2019s ''")
                                     << QStringLiteral("don't|quoted|officer\u2019s");
        QTest::newRow("addresses")
            << QStringLiteral("mail bob@example.com or http://x.org/teh, www.abc.gov now")
            << QStringLiteral("mail|or|now");
        QTest::newRow("single capitals and hyphens")
            << QStringLiteral("I saw A well-known McDonald")
            << QStringLiteral("I|saw|A|well|known|McDonald");
        QTest::newRow("accented") << QStringLiteral("café naïve") << QStringLiteral("café|naïve");
    }
    void tokensAreWordsNotCodesNumbersOrAddresses()
    {
        QFETCH(QString, text);
        QFETCH(QString, words);
        QCOMPARE(tokenWords(text).join(u'|'), words);
    }

    void changeMovesOnAndKeepsTheRestOfTheText()
    {
        SpellingSession s(*m_dictionary, QStringLiteral("Pleese recieve the refund.\r\nThanks"));
        QVERIFY(s.next());
        QCOMPARE(s.word(), QStringLiteral("Pleese"));
        QVERIFY(s.suggestions().contains(QStringLiteral("Please")));
        QVERIFY(s.change(QStringLiteral("Please")));
        QCOMPARE(s.word(), QStringLiteral("recieve"));
        QCOMPARE(s.position(), 7);
        QVERIFY(s.suggestions().contains(QStringLiteral("receive")));
        // A replacement that is itself not a word is not offered again.
        QVERIFY(!s.change(QStringLiteral("recieeve")));
        QCOMPARE(s.text(), QStringLiteral("Please recieeve the refund.\r\nThanks"));
        QVERIFY(s.changed());
        QCOMPARE(s.originalText(), QStringLiteral("Pleese recieve the refund.\r\nThanks"));
    }

    void changeAllAndIgnoreAllReachLaterOccurrencesOnly()
    {
        SpellingSession s(*m_dictionary,
                          QStringLiteral("zqxv then teh form, teh note, zqxv and teh end zqxv"));
        QVERIFY(s.next());
        QCOMPARE(s.word(), QStringLiteral("zqxv"));
        QVERIFY(s.ignore()); // once: the later ones are still asked about
        QCOMPARE(s.word(), QStringLiteral("teh"));
        QVERIFY(s.changeAll(QStringLiteral("the")));
        QCOMPARE(s.word(), QStringLiteral("zqxv"));
        QCOMPARE(s.position(), 30);
        QVERIFY(!s.ignoreAll());
        QCOMPARE(s.text(), QStringLiteral("zqxv then the form, the note, zqxv and the end zqxv"));

        SpellingSession clean(*m_dictionary, QStringLiteral("The refund was approved."));
        QVERIFY(!clean.next());
        QVERIFY(!clean.atWord());
        QVERIFY(!clean.changed());
    }

    void contextIsTheWordsOwnLineTrimmedAroundIt()
    {
        const QString text =
            QStringLiteral("First line\nsome words before the zqxvword and after it\nlast");
        SpellingSession s(*m_dictionary, text);
        QVERIFY(s.next());
        qsizetype start = -1;
        QCOMPARE(s.context(200, &start),
                 QStringLiteral("some words before the zqxvword and after it"));
        QCOMPARE(start, 22);
        const QString trimmed = s.context(6, &start);
        QCOMPARE(trimmed, QStringLiteral("\u2026e the zqxvword and a\u2026"));
        QCOMPARE(trimmed.mid(start, s.word().size()), s.word());
    }

    void addedWordsPassNowAndInTheNextDictionary()
    {
        const SpellCheckSettings settings = freshSettings(QStringLiteral("sub/added.txt"));
        QString why;
        auto first = loadHunspellDictionary(settings, &why);
        QVERIFY2(first, qPrintable(why));
        SpellingSession s(*first, QStringLiteral("Officer Brzyckowski met Brzyckowski"));
        QVERIFY(s.next());
        QCOMPARE(s.word(), QStringLiteral("Brzyckowski"));
        QVERIFY(!s.add());
        QVERIFY(first->isCorrect(QStringLiteral("Brzyckowski")));

        QFile file(settings.userWordsFile);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("Brzyckowski\n"));
        file.close();

        auto second = loadHunspellDictionary(settings, &why);
        QVERIFY(second);
        QVERIFY(second->isCorrect(QStringLiteral("Brzyckowski")));
        QVERIFY(!second->isCorrect(QStringLiteral("Brzyckowskii")));
    }

    void objectsAreMadeByNameOnlyAndNeverWithoutADictionary()
    {
        HunspellSpellChecking spelling(freshSettings(QStringLiteral("objects.txt")));
        QString why;
        QVERIFY(!spelling.CreateObject(QStringLiteral("Word.Application"), &why));
        QVERIFY2(why.contains(QStringLiteral("Word.Application")), qPrintable(why));

        auto object = spelling.CreateObject(QStringLiteral("TAVROUtilities.Dictionary"), &why);
        QVERIFY(object);
        // Nothing to correct: the text comes back without a dialog being shown.
        QCOMPARE(object->CheckSpelling(QStringLiteral("The refund was approved.")),
                 QStringLiteral("The refund was approved."));

        SpellCheckSettings none = freshSettings(QStringLiteral("none.txt"));
        none.dictionaryFolders = {m_dir.filePath(QStringLiteral("empty"))};
        HunspellSpellChecking missing(none);
        why.clear();
        QVERIFY(!missing.CreateObject(QStringLiteral("TAVROUtilities.Dictionary"), &why));
        QVERIFY2(why.contains(QStringLiteral("en_US")) && why.contains(QStringLiteral("empty")),
                 qPrintable(why));
    }

    void theDialogWalksTheWordsAndCancelKeepsTheText()
    {
        HunspellSpellChecking spelling(freshSettings(QStringLiteral("dialog.txt")));
        auto object = spelling.CreateObject(QStringLiteral("TAVROUtilities.Dictionary"), nullptr);
        QVERIFY(object);

        QString shownContext;
        auto click = [](QWidget *dialog, const char *name) {
            QTest::mouseClick(dialog->findChild<QPushButton *>(QLatin1String(name)),
                              Qt::LeftButton);
        };
        QTimer::singleShot(0, this, [&] {
            auto *dialog = qobject_cast<SpellCheckDialog *>(QApplication::activeModalWidget());
            QVERIFY(dialog);
            shownContext =
                dialog->findChild<QTextEdit *>(QStringLiteral("txtContext"))->toPlainText();
            auto *list = dialog->findChild<QListWidget *>(QStringLiteral("lstSuggestions"));
            const auto found = list->findItems(QStringLiteral("The"), Qt::MatchExactly);
            QVERIFY(!found.isEmpty());
            list->setCurrentItem(found.first());
            click(dialog, "cmdChange");
            // Second word: typed by hand rather than picked.
            auto *changeTo = dialog->findChild<QLineEdit *>(QStringLiteral("txtChangeTo"));
            changeTo->clear();
            QTest::keyClicks(changeTo, QStringLiteral("received"));
            click(dialog, "cmdChange");
        });
        QCOMPARE(object->CheckSpelling(QStringLiteral("Teh refund was recieved today")),
                 QStringLiteral("The refund was received today"));
        QCOMPARE(shownContext, QStringLiteral("Teh refund was recieved today"));

        QTimer::singleShot(0, this, [&] {
            auto *dialog = QApplication::activeModalWidget();
            QVERIFY(dialog);
            click(dialog, "cmdChange");
            click(dialog, "cmdCancel");
        });
        QCOMPARE(object->CheckSpelling(QStringLiteral("Teh refund was recieved")),
                 QStringLiteral("Teh refund was recieved"));
    }
};

KORVA_TEST_MAIN(TestSpellCheck)
#include "tst_spellcheck.moc"

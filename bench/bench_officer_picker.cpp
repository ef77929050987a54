// The officer picker over 10,000 officers: time from a keystroke in the search box to the
// list of matches updated, over a mix of name and number searches, after the index is built
// once. Run by hand; prints the index build, and the median, 95th percentile and worst
// keystroke.

#include "common/modassignmaint.h"
#include <platform/datetext.h>
#include "platform/controls/officerselect.h"
#include "testkit.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTest>

#include <algorithm>
#include <cstdio>

using namespace korva;

namespace {

constexpr int kOfficers = 10000;

BrokerReply officersReply()
{
    const char *lasts[] = {"Smith",     "Johnson", "Williams", "Brown",     "Jones",
                           "Garcia",    "Miller",  "Davis",    "Rodriguez", "Martinez",
                           "Hernandez", "Lopez",   "Wilson",   "Anderson",  "Thomas",
                           "Taylor",    "Moore",   "Jackson",  "Martin",    "Lee"};
    const char *firsts[] = {"James",   "Mary",  "John",    "Patricia",  "Robert", "Jennifer",
                            "Michael", "Linda", "William", "Elizabeth", "David",  "Barbara"};
    BrokerReply reply;
    auto officers = RecordSet::create(QStringLiteral("OFFICER"),
                                      {{QStringLiteral("INSP_ID"), FieldType::Integer},
                                       {QStringLiteral("INSP_NME_LST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_FRST"), FieldType::Text},
                                       {QStringLiteral("INSP_NME_MDL_INT"), FieldType::Text},
                                       {QStringLiteral("REGION"), FieldType::Text}});
    for (int i = 0; i < kOfficers; ++i) {
        // Suffixed last names keep the names varied, as a real roster is.
        officers->appendStorageRow(
            {10000 + i, QStringLiteral("%1%2").arg(QLatin1String(lasts[i % 20])).arg(i % 97),
             QLatin1String(firsts[(i / 20) % 12]), QString(QChar(u'A' + i % 26)),
             QStringLiteral("NE")});
    }
    reply.recordSets.insert(officers->name(), officers);
    return reply;
}

double percentile(std::vector<double> v, double p)
{
    std::sort(v.begin(), v.end());
    return v.at(std::min(v.size() - 1, std::size_t(p * double(v.size()))));
}

} // namespace

int main(int argc, char *argv[])
{
    korva::cacheLocalTimeZone();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    testkit::TestPlatform platform;
    platform.useReferenceData(officersReply());

    KORVA_OfficerSelect picker;
    picker.setNameFormatter(&modAssignMaint::ProperName);
    picker.resize(420, 480);
    picker.show();
    auto *text = picker.findChild<QLineEdit *>(QStringLiteral("txtOfficer"));

    QElapsedTimer build;
    build.start();
    picker.reloadOfficers();
    const double buildMs = double(build.nsecsElapsed()) / 1e6;

    const QStringList searches{QStringLiteral("s"),        QStringLiteral("smith4 ja"),
                               QStringLiteral("j"),        QStringLiteral("martinez1"),
                               QStringLiteral("1"),        QStringLiteral("12345"),
                               QStringLiteral("mary lee"), QStringLiteral("w"),
                               QStringLiteral("zzz"),      QStringLiteral("james a")};
    std::vector<double> keystrokes;
    int shown = 0;
    for (int round = 0; round < 5; ++round) {
        for (const QString &search : searches) {
            text->clear();
            for (QChar c : search) {
                QElapsedTimer t;
                t.start();
                QTest::keyClick(text, c.toLatin1());
                shown += picker.shownCount();
                keystrokes.push_back(double(t.nsecsElapsed()) / 1e3);
            }
            for (qsizetype i = 0; i < search.size(); ++i) {
                QElapsedTimer t;
                t.start();
                QTest::keyClick(text, Qt::Key_Backspace);
                shown += picker.shownCount();
                keystrokes.push_back(double(t.nsecsElapsed()) / 1e3);
            }
        }
    }
    std::printf("officer picker, %d officers\n", kOfficers);
    std::printf("  index build (once)      %8.2f ms\n", buildMs);
    std::printf("  keystroke to list, %zu keystrokes (%d rows shown in all)\n", keystrokes.size(),
                shown);
    std::printf("    median                %8.1f us\n", percentile(keystrokes, 0.5));
    std::printf("    95th percentile       %8.1f us\n", percentile(keystrokes, 0.95));
    std::printf("    worst                 %8.1f us\n", percentile(keystrokes, 1.0));
    return 0;
}

#include "korva_worksheet.h"

#include "platform/controls/dtp.h"
#include "platform/errors.h"
#include "platform/platform.h"

#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QXmlStreamWriter>

#include <utility>

namespace korva {

namespace {

constexpr int kWorksheetTemplate = 36;

// The print call's own failure is passed over: the template object reports to the user itself,
// and the object must still be closed.
template <class Call> void ignoringFailure(Call &&call)
{
    try {
        std::forward<Call>(call)();
    } catch (const std::exception &) {
    }
}

} // namespace

QString KORVA_WorkSheet::GetWorkSheetforPrint()
{
    QString xml;
    guard(u"KORVA_WorkSheet.GetWorkSheetforPrint", [&] {
        QString root = platform().user->applicationPrefix();
        root.remove(u' ');
        auto shownDate = [this](int i) {
            return KORVA_DTP1[i]->isVisibleTo(this)
                       ? KORVA_DTP1[i]->date().toString(QStringLiteral("MM/dd/yyyy"))
                       : QString();
        };
        QString to;
        if (mRdo[2]->isChecked())
            to = QStringLiteral("To Taxpayer");
        else if (mRdo[3]->isChecked())
            to = QStringLiteral("To Division");
        else if (mRdo[4]->isChecked())
            to = QStringLiteral("To Other");
        QString overage;
        if (mRdo[0]->isChecked())
            overage = QStringLiteral("Transferred");
        else if (mRdo[1]->isChecked())
            overage = QStringLiteral("Refunded");

        // The template merges by element name; state before city is the order it expects.
        const std::pair<const char *, QString> values[] = {
            {"REFUNDNO", mLblData[kRefundNumber]->text()},
            {"REFUNDAMT", mLblData[kAmount]->text()},
            {"REFUNDSTAT", mLblData[kStatusBanner]->text()},
            {"REFUNDTO", to},
            {"CUSTNAME", mLblData[kCustomerName]->text()},
            {"CUSTADDR", mLblData[kAddress]->text()},
            {"CUSTSTATE", mLblData[kState]->text()},
            {"CUSTCITY", mLblData[kCity]->text()},
            {"CUSTZIP", mLblData[kZip]->text()},
            {"PREPAREDBY", mLblData[kPreparer]->text()},
            {"VERIFIEDBY", mLblData[kVerifier]->text()},
            {"APPROVEDBY", mLblData[kApprover]->text()},
            {"DATEMAILED", shownDate(1)},
            {"HEADQUARTERCOMMENT", comment(0)},
            {"OVERAGE", overage},
            {"WARRANTNO", mTxt[0]->text()},
            {"REFUNDDATE", shownDate(0)},
            {"REFUNDBY", mLblData[kRefunder]->text()},
            {"FISCALCOMMENT", comment(1)},
        };
        QString out;
        QXmlStreamWriter w(&out);
        w.writeStartElement(root);
        for (const auto &[name, value] : values)
            w.writeTextElement(QLatin1String(name), value);
        w.writeEndElement();
        if (w.hasError())
            raiseError(kComponentError, QStringLiteral("The print data could not be written."));
        xml = out;
    });
    return xml;
}

void KORVA_WorkSheet::PrintWorksheet()
{
    guard(u"KORVA_WorkSheet.PrintWorksheet", [&] {
        const QString path = platform().forms->TemplatePath(kWorksheetTemplate);
        if (path.isEmpty())
            raiseError(kComponentError,
                       QStringLiteral("No template file is available for print. Contact your "
                                      "system administrator."),
                       QStringLiteral("KORVA_WorkSheet.PrintWorksheet"));
        const QString xml = GetWorkSheetforPrint();
        std::unique_ptr<TemplatePrintObject> printer = platform().printing->CreatePrintObject();
        // The data holds the officers' numbers; the paper shows their names beside them, as
        // the screen does.
        for (const auto &[element, label] : {std::pair{"PREPAREDBYNAME", 0}, {"VERIFIEDBYNAME", 1},
                                             {"APPROVEDBYNAME", 2}, {"REFUNDBYNAME", 3}})
            printer->setExtraValue(QLatin1String(element), mLblOfficerName[label]->text());
        printer->setTemplatePath(path);
        printer->setXml(xml);
        ignoringFailure([&] { printer->print(); });
        printer->close();
    });
}

} // namespace korva

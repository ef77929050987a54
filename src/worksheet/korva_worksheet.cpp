#include "korva_worksheet.h"

#include "common/modassignmaint.h"

#include "platform/errors.h"
#include "platform/platform.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShowEvent>

namespace korva {

KORVA_WorkSheet::KORVA_WorkSheet(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("KORVA_WorkSheet"));
    mZelbMessage = new BrokerMessage(this);
    buildControls();
    wireEvents();
}

KORVA_WorkSheet::~KORVA_WorkSheet() = default;

QString KORVA_WorkSheet::CustomerID() const
{
    return m_customerId;
}

void KORVA_WorkSheet::setCustomerID(const QString &id)
{
    if (!id.isEmpty())
        m_customerId = id;
}

void KORVA_WorkSheet::SetLoadedFromOutSide(bool flag)
{
    m_loadedFromOutside = flag;
}

bool KORVA_WorkSheet::GetSavedVoidedFlag() const
{
    return m_savedVoided;
}

void KORVA_WorkSheet::SetSavedVoidedFlag(bool flag)
{
    m_savedVoided = flag;
}

bool KORVA_WorkSheet::DataChanged()
{
    guard(u"KORVA_WorkSheet.DataChanged",
          [&] { platform().status->StatusText(QStringLiteral("Checking for data changes")); });
    // The worksheet saves step by step through its own buttons; the host never has to ask.
    return false;
}

void KORVA_WorkSheet::mCmdButton_Click(int index)
{
    guard(u"KORVA_WorkSheet.mCmdButton_Click", [&] {
        switch (index) {
        case 0:
            if (SaveData())
                m_savedVoided = true;
            break;
        case 1:
            m_refundNumber.clear();
            close();
            break;
        case 2:
            // Only a reply or a time-out ends the void: refused by the checks, it stays under
            // way and the next Save sends it again.
            m_action = QStringLiteral("VOID");
            if (SaveData())
                m_savedVoided = true;
            break;
        case 3:
            PrintWorksheet();
            break;
        default:
            raiseSubscript();
        }
    });
}

// While a save is in flight its buttons are off, so that one step is never sent twice; the
// reply gives them back as they were and then decides what the new status allows.
void KORVA_WorkSheet::PendingSave(bool flag)
{
    // The source text is the one this procedure has always reported under.
    guard(u"KORVA_TransPayment.PendingSave", [&] {
        if (flag && !m_savePending) {
            for (int i = 0; i < 3; ++i) {
                m_enabledBeforeSave[i] = mCmdButton[i]->isEnabled();
                mCmdButton[i]->setEnabled(false);
            }
        } else if (!flag && m_savePending) {
            for (int i = 0; i < 3; ++i)
                mCmdButton[i]->setEnabled(m_enabledBeforeSave[i]);
        }
        m_savePending = flag;
    });
}

// The first show loads the form unless LoadMe has done so already.
void KORVA_WorkSheet::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_formLoaded)
        Form_Load();
}

void KORVA_WorkSheet::done(int result)
{
    if (!m_unloaded) {
        m_unloaded = true;
        Form_Unload();
    }
    QDialog::done(result);
}

QString KORVA_WorkSheet::messageIdentity() const
{
    return platform().user->applicationPrefix() + QStringLiteral("WorkSheet");
}

QString KORVA_WorkSheet::numberService() const
{
    return messageIdentity().trimmed().toUpper();
}

// Officers are compared by id (the separation checks and the server both do), so the label
// holds the id and the name beside it is for the reader only.
QString KORVA_WorkSheet::signedOnOfficer() const
{
    return QString::number(platform().user->officerId());
}

void KORVA_WorkSheet::setOfficer(int label, const QString &id)
{
    mLblData[label]->setText(id);
    mLblOfficerName[label - 7]->setText(modAssignMaint::OfficerDisplayName(id));
}

// Comments travel with CRLF line ends; the editor holds plain "\n".
void KORVA_WorkSheet::setComment(int index, const QString &text)
{
    QString t = text;
    t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    mTxtRefund[index]->setPlainText(t);
}

QString KORVA_WorkSheet::comment(int index) const
{
    QString t = mTxtRefund[index]->toPlainText();
    t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    t.replace(u'\n', QStringLiteral("\r\n"));
    return t;
}

} // namespace korva

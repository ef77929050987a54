#include "korva_worksheet.h"

#include "common/controlnames.h"
#include "platform/controls/dtp.h"
#include "platform/errors.h"

#include <QDateEdit>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace korva {

namespace {

QLabel *dataLabel(QWidget *parent, int index)
{
    auto *l = new QLabel(parent);
    l->setObjectName(indexed("mLblData", index));
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    l->setMinimumWidth(60);
    return l;
}

QLabel *caption(const char *text, QWidget *parent)
{
    auto *l = new QLabel(QLatin1String(text), parent);
    l->setStyleSheet(QStringLiteral("color: #555;"));
    return l;
}

// Runs the silent checks when the warrant number loses focus.
class LostFocusFilter : public QObject {
public:
    LostFocusFilter(KORVA_WorkSheet *sheet, int index)
        : QObject(sheet)
        , m_sheet(sheet)
        , m_index(index)
    {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::FocusOut)
            m_sheet->mTxt_LostFocus(m_index);
        return QObject::eventFilter(watched, event);
    }

private:
    KORVA_WorkSheet *m_sheet;
    int m_index;
};

} // namespace

void KORVA_WorkSheet::buildControls()
{
    setWindowTitle(QStringLiteral("Refund Worksheet"));
    for (int i = 0; i < int(mLblData.size()); ++i)
        mLblData[i] = dataLabel(this, i);

    // Heading: refund number, receipt and the status in large type.
    QFont big = font();
    big.setPointSizeF(big.pointSizeF() * 1.9);
    big.setBold(true);
    mLblData[kStatusBanner]->setFont(big);
    mLblData[kStatusBanner]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    QFont number = font();
    number.setPointSizeF(number.pointSizeF() * 1.3);
    number.setBold(true);
    mLblData[kRefundNumber]->setFont(number);
    mLblData[kAmount]->setFont(number);

    auto *title = new QLabel(QStringLiteral("Refund Worksheet"), this);
    QFont titleFont = font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    title->setFont(titleFont);
    auto *heading = new QGridLayout;
    heading->setHorizontalSpacing(24);
    heading->addWidget(title, 0, 0, 1, 3);
    heading->addWidget(caption("Refund Number", this), 1, 0);
    heading->addWidget(mLblData[kRefundNumber], 2, 0);
    heading->addWidget(caption("Receipt Number", this), 1, 1);
    heading->addWidget(mLblData[kReceiptNumber], 2, 1);
    heading->addWidget(caption("Refund Amount", this), 1, 2);
    heading->addWidget(mLblData[kAmount], 2, 2);
    heading->addWidget(mLblData[kStatusBanner], 0, 3, 3, 1);
    heading->setColumnStretch(3, 1);

    auto *customer = new QGroupBox(QStringLiteral("Customer"), this);
    auto *cust = new QFormLayout(customer);
    cust->addRow(caption("Name", customer), mLblData[kCustomerName]);
    cust->addRow(caption("Address", customer), mLblData[kAddress]);
    auto *place = new QHBoxLayout;
    place->addWidget(mLblData[kCity], 2);
    place->addWidget(mLblData[kState], 1);
    place->addWidget(mLblData[kZip], 1);
    cust->addRow(caption("City, State, ZIP", customer), place);

    mFraRefund[0] = new QGroupBox(QStringLiteral("Refund To"), this);
    mFraRefund[0]->setObjectName(indexed("mFraRefund", 0));
    auto *to = new QVBoxLayout(mFraRefund[0]);
    const char *receivers[] = {"To Taxpayer", "To Division", "To Other"};
    for (int i = 2; i <= 4; ++i) {
        mRdo[i] = new QRadioButton(QLatin1String(receivers[i - 2]), mFraRefund[0]);
        mRdo[i]->setObjectName(indexed("mRdo", i));
        to->addWidget(mRdo[i]);
    }

    mFraRefund[1] = new QGroupBox(QStringLiteral("Officers"), this);
    mFraRefund[1]->setObjectName(indexed("mFraRefund", 1));
    auto *officers = new QGridLayout(mFraRefund[1]);
    const char *steps[] = {"Prepared by", "Verified by", "Approved by", "Refunded by"};
    for (int i = 0; i < 4; ++i) {
        mLblOfficerName[i] = new QLabel(mFraRefund[1]);
        mLblOfficerName[i]->setObjectName(QStringLiteral("mLblOfficerName(%1)").arg(i));
        officers->addWidget(caption(steps[i], mFraRefund[1]), i, 0);
        officers->addWidget(mLblData[kPreparer + i], i, 1);
        officers->addWidget(mLblOfficerName[i], i, 2);
    }
    officers->setColumnStretch(2, 1);
    officers->setRowStretch(4, 1);

    // The issue frame: how an approved refund leaves, its warrant, date and description.
    mFraRefund[2] = new QGroupBox(QStringLiteral("Issue"), this);
    mFraRefund[2]->setObjectName(indexed("mFraRefund", 2));
    mFra[1] = new QGroupBox(QStringLiteral("Excess Funds"), mFraRefund[2]);
    mFra[1]->setObjectName(indexed("mFra", 1));
    auto *how = new QHBoxLayout(mFra[1]);
    mRdo[0] = new QRadioButton(QStringLiteral("Transferred"), mFra[1]);
    mRdo[1] = new QRadioButton(QStringLiteral("Refunded"), mFra[1]);
    for (int i = 0; i < 2; ++i) {
        mRdo[i]->setObjectName(indexed("mRdo", i));
        how->addWidget(mRdo[i]);
    }
    mTxt[0] = new QLineEdit(mFraRefund[2]);
    mTxt[0]->setObjectName(indexed("mTxt", 0));
    mTxt[0]->setMaxLength(20);
    mTxt[0]->setMinimumWidth(130);
    KORVA_DTP1[0] = new KORVA_DTP(mFraRefund[2]);
    KORVA_DTP1[0]->setObjectName(indexed("KORVA_DTP1", 0));
    mTxtRefund[1] = new QPlainTextEdit(mFraRefund[2]);
    mTxtRefund[1]->setObjectName(indexed("mTxtRefund", 1));
    mTxtRefund[1]->setTabChangesFocus(true);
    mTxtRefund[1]->setMaximumHeight(70);
    auto *issue = new QGridLayout(mFraRefund[2]);
    issue->addWidget(mFra[1], 0, 0, 1, 4);
    issue->addWidget(caption("Warrant Number", mFraRefund[2]), 1, 0);
    issue->addWidget(mTxt[0], 1, 1);
    issue->addWidget(caption("Refund Date", mFraRefund[2]), 1, 2);
    issue->addWidget(KORVA_DTP1[0], 1, 3);
    issue->addWidget(caption("Refund Description", mFraRefund[2]), 2, 0, 1, 4);
    issue->addWidget(mTxtRefund[1], 3, 0, 1, 4);

    KORVA_DTP1[1] = new KORVA_DTP(this);
    KORVA_DTP1[1]->setObjectName(indexed("KORVA_DTP1", 1));
    m_lblMailDate = caption("Mail Date", this);
    auto *mail = new QHBoxLayout;
    mail->addWidget(m_lblMailDate);
    mail->addWidget(KORVA_DTP1[1]);
    mail->addStretch(1);

    mTxtRefund[0] = new QPlainTextEdit(this);
    mTxtRefund[0]->setObjectName(indexed("mTxtRefund", 0));
    mTxtRefund[0]->setAccessibleName(tr("Comments"));
    mTxtRefund[0]->setTabChangesFocus(true);
    mTxtRefund[0]->setMaximumHeight(90);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    const char *texts[] = {"&Save", "&Close", "&Void", "&Print"};
    for (int i = 0; i < int(mCmdButton.size()); ++i) {
        mCmdButton[i] = new QPushButton(QLatin1String(texts[i]), this);
        mCmdButton[i]->setObjectName(indexed("mCmdButton", i));
        mCmdButton[i]->setAutoDefault(false);
    }
    for (int i : {0, 2, 3, 1})
        buttons->addWidget(mCmdButton[i]);
    mCmdButton[3]->setEnabled(false);

    auto *middle = new QGridLayout;
    middle->addWidget(customer, 0, 0);
    middle->addWidget(mFraRefund[0], 0, 1);
    middle->addWidget(mFraRefund[1], 1, 0);
    middle->addWidget(mFraRefund[2], 1, 1);
    middle->setColumnStretch(0, 3);
    middle->setColumnStretch(1, 2);

    auto *root = new QVBoxLayout(this);
    root->addLayout(heading);
    root->addLayout(middle);
    root->addLayout(mail);
    root->addWidget(caption("Headquarters Comment", this));
    root->addWidget(mTxtRefund[0]);
    root->addStretch(1);
    root->addLayout(buttons);
    // A closed step is read, not edited: its values stay dark enough to read at a glance.
    setStyleSheet(QStringLiteral("QPlainTextEdit:disabled, QLineEdit:disabled, "
                                 "QDateEdit:disabled, QRadioButton:disabled { color: #303030; }"));
    resize(820, 600);
}

void KORVA_WorkSheet::wireEvents()
{
    connect(mZelbMessage, &BrokerMessage::DataReady, this,
            &KORVA_WorkSheet::mZelbMessage_DataReady);
    connect(mZelbMessage, &BrokerMessage::MsgTimeout, this,
            [this](const QString &) { mZelbMessage_MsgTimeout(); });
    for (int i = 0; i < int(mCmdButton.size()); ++i)
        connect(mCmdButton[i], &QPushButton::clicked, this, [this, i] { mCmdButton_Click(i); });
    mTxt[0]->installEventFilter(new LostFocusFilter(this, 0));
}

void KORVA_WorkSheet::SetTabs()
{
    // The source text is the one this procedure has always reported under.
    guard(u"KORVA_AccDetail.SetTabs", [&] {
        QList<QWidget *> order{mRdo[2],       mRdo[3],
                               mRdo[4],       mTxtRefund[0],
                               mRdo[0],       mRdo[1],
                               mTxt[0],       KORVA_DTP1[0]->editor(),
                               mTxtRefund[1], KORVA_DTP1[1]->editor(),
                               mCmdButton[0], mCmdButton[2],
                               mCmdButton[3], mCmdButton[1]};
        for (int i = 1; i < order.size(); ++i)
            setTabOrder(order[i - 1], order[i]);
    });
}

} // namespace korva

#pragma once

#include "platform/broker.h"

#include <QString>

#include <functional>

namespace korva {

namespace StatusTexts {
inline constexpr auto Ready = "Ready ...";
inline constexpr auto QueryTimedOut = "Query timed out.";
inline constexpr auto QueryNotSuccessful = "Query Not Successful.";
inline constexpr auto UpdateNotSuccessful = "Update Not Successful.";
} // namespace StatusTexts

// The request-state flags every screen keeps; all False at start.
struct RequestFlags {
    bool UpdatePending = false;
    bool TimedOut = false;
    bool QueryFailed = false;
    bool ReplyReceived = false;
};

// A request as every screen composes it: identity, the application's "major.minor" text,
// the kind and the user's context text, then the parameters in the order given.
BrokerRequest composeQuery(const QString &messageId, int kind,
                           const QList<RequestParameter> &parameters);
// An update carries one named record set instead of key parameters, and a request key: the
// message identity and a number unique to the attempt. The same update composed again before
// its answer came (Save again after a time-out) keeps its key, so the server applies it once.
BrokerRequest composeUpdate(const QString &messageId, int kind, const QString &recordSetName,
                            const RecordSetPtr &rows);
// The update sent under this identity was answered (good, or refused by the server): the next
// update gets a key of its own even when its content is the same.
void updateAnswered(QStringView messageId);

// Replies are recognised by identity, trimmed and in upper case.
bool isOwnReply(QStringView identity, QStringView messageId);
// Leaves the calling procedure quietly when the reply is someone else's.
void requireOwnReply(QStringView identity, QStringView messageId);

// What a screen does with a good reply; the shared order around it is handleDataReady's.
struct ReplyRoutes {
    std::function<void(bool)> enableTabs;
    std::function<void()> goodQuery;  // UpdatePending was False
    std::function<void()> goodUpdate; // UpdatePending was True; it is False and tabs are on again
};

// The DataReady order: busy pointer; someone else's reply leaves quietly; the reply check;
// a bad reply is shown and judged (time-out, failed query, failed update) and leaves quietly;
// a good one goes to its route. The exit releases the reply and restores the pointer.
void handleDataReady(QStringView source, const QString &identity, const QString &messageId,
                     BrokerMessage &message, RequestFlags &flags, const ReplyRoutes &routes);

} // namespace korva

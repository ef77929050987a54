#pragma once

#include "rows.h"

#include <platform/broker.h>

#include <QDate>

namespace korva::server {

// The keys of a list request. The date range applies to the assignment date ASGNMT_DT, both
// ends included.
struct ListQuery {
    enum Direction { Received, Sent };
    enum Status { Any, Open, Closed };
    QDate from;
    QDate to;
    Direction direction = Received;
    qint64 officer = 0;
    Status status = Any;

    static ListQuery fromRequest(const BrokerRequest &request); // throws RequestError
};

// The statement and reply layout of the list, shared with the benchmark so that it measures
// the very fetch that the broker makes. Bind: officer, from date, to date.
QString listQueryText(ListQuery::Direction direction, ListQuery::Status status);
std::span<const Column> listColumns();

} // namespace korva::server

#pragma once

// The demo database's fixed material: names, types, code tables and texts, and the small
// deterministic generator that picks from them. Read only by demodata.cpp.

#include <QtGlobal>

#include <cstddef>

namespace korva::server::demo {

const char *const kRegions[] = {"NE", "SE", "MW", "WE"};

const char *const kLastNames[] = {
    "Anderson", "Baker",  "Carter",     "Dalton",     "Ellis",     "Fischer", "Garcia", "Hughes",
    "Iverson",  "Jensen", "Keller",     "Lindqvist",  "Moreau",    "Novak",   "O'Neil", "Peralta",
    "Quinn",    "Russo",  "Sato",       "Thompson",   "Underwood", "Varga",   "Walsh",  "Xu",
    "Young",    "Zeller", "Mac Donald", "de la Cruz", "Nguyen",    "Okafor",  "Petrov", "Ramos"};
const char *const kFirstNames[] = {"Maria", "James", "Aiko",   "Pedro",  "Linda", "Omar",
                                   "Grace", "Tomas", "Ingrid", "Kwame",  "Rosa",  "Victor",
                                   "Helen", "Yusuf", "Clara",  "Dmitri", "Ann",   "Lee"};
const char *const kMiddleNames[] = {"Q", "A", "B", "Marie", "Lee", "J", "Ray", "K"};
const char *const kSuffixes[] = {",jr", ",Sr", ",JR", ",sr"};

const char *const kCompanies[] = {"Acme Hardware LLC",    "O'Brien's Pub",       "Blue Ridge Farms",
                                  "Harbor Freight Co",    "Lakeside Diner",      "Northgate Motors",
                                  "Pine & Oak Furniture", "Summit Dental",       "Riverside Bakery",
                                  "Cedar Creek Auto",     "Golden Gate Imports", "Maple Leaf Cafe"};
const char *const kStreets[] = {"Main St",   "Oak Ave", "Elm St",    "Route 9",
                                "Harbor Rd", "Mill Ln", "Church St", "Lake Dr"};
const char *const kCities[] = {"Springfield", "Riverton", "Fairview", "Georgetown",
                               "Salem",       "Franklin", "Clinton",  "Madison"};
const char *const kStates[] = {"NY", "PA", "NJ", "CT", "MA", "VT"};

const char *const kSubjects[] = {"Follow up on unpaid citation",
                                 "Verify business address",
                                 "Field visit requested",
                                 "Payment plan review",
                                 "Customer disputes balance",
                                 "Refund of excess funds",
                                 "Delinquent return",
                                 "Check \"bounced\" twice"};
const char *const kComments[] = {
    "Please contact the customer before the due date.",
    "Customer called; says payment was mailed last week.",
    "See attached notes from the field visit.",
    "O'Brien's account - owner asked for a callback; note the quote ' and -- dashes.",
    "Reviewed; forwarding for action.",
    "",
    "Multi-line comment:\r\nfirst line\r\nsecond line",
    "'; DROP TABLE ASGNMT; -- stored as typed"};

// Assignment types: code, description, creator closes, due days, expiration days, system.
struct TypeRow {
    const char *code;
    const char *description;
    const char *creatorCloses;
    int due; // -1: no count
    int expiration;
    const char *system;
    int weight; // out of 100
};
const TypeRow kTypes[] = {
    {"001", "GENERAL REFERRAL", "N", 30, 90, "N", 30},
    {"002", "CITATION FOLLOW-UP", "N", 14, 60, "N", 18},
    {"003", "AUDIT REVIEW", "Y", 45, 120, "N", 10},
    {"004", "REFUND REQUEST", "N", 10, 30, "Y", 5},
    {"005", "DELINQUENCY NOTICE", "Y", 7, 30, "Y", 6},
    {"006", "FIELD VISIT", "N", 21, 60, "N", 15},
    {"007", "LEGAL HOLD", "N", -1, -1, "N", 6},
    {"PCE", "PAYMENT COMPLIANCE EXCEPTION", "N", 5, 15, "N", 6},
    {"PCX", "PAYMENT COMPLIANCE EXPEDITED", "Y", 2, 7, "N", 4},
};
constexpr int kRefundType = 3;

// Code tables: table, code, description, additional info, effective offset, ended (days ago).
struct CodeRow {
    const char *table;
    const char *code;
    const char *description;
    const char *info;
    int effectiveDaysAgo; // negative: takes effect in the future
    int endedDaysAgo;     // 0: still in force
};
const CodeRow kCodes[] = {
    {"REFDOCTYP", "CIT", "TRAFFIC CITATION", "CITATION", 9000, 0},
    {"REFDOCTYP", "PKG", "PARKING CITATION", "CITATION", 9000, 0},
    {"REFDOCTYP", "WRN", "TAX WARRANT", "CITATION", 9000, 0},
    {"REFDOCTYP", "ACC", "SALES TAX ACCOUNT", "ACCOUNT", 9000, 0},
    {"REFDOCTYP", "OTH", "OTHER DOCUMENT", "TEXT", 9000, 0},
    {"REFDOCTYP", "OLD", "RETIRED DOCUMENT TYPE", "TEXT", 9000, 400},
    {"CSTATUS", "A", "ACTIVE", "", 9000, 0},
    {"CSTATUS", "P", "PAID IN FULL", "", 9000, 0},
    {"CSTATUS", "S", "STOPPED", "", 9000, 0},
    {"CSTATUS", "D", "DISMISSED", "", 9000, 0},
    {"CSTATUS", "W", "WRITTEN OFF", "", 9000, 0},
    {"CSTATUS", "Z", "SUSPENDED (RETIRED)", "", 9000, 30},
    {"CSTATUS", "X", "EXTENDED (NOT YET IN FORCE)", "", -30, 0},
    {"REFUNDTYP", "0", "BEING PREPARED", "", 9000, 0},
    {"REFUNDTYP", "1", "PREPARED", "", 9000, 0},
    {"REFUNDTYP", "2", "VERIFIED", "", 9000, 0},
    {"REFUNDTYP", "3", "APPROVED", "", 9000, 0},
    {"REFUNDTYP", "4", "REFUNDED", "", 9000, 0},
    {"REFUNDTYP", "5", "MAILED", "", 9000, 0},
    {"REFUNDTYP", "T", "TRANSFERRED", "", 9000, 0},
    {"REFUNDTYP", "V", "VOIDED", "", 9000, 0},
    {"AGENCY", "DMV", "DEPARTMENT OF MOTOR VEHICLES", "", 9000, 0},
    {"AGENCY", "AG", "ATTORNEY GENERAL", "", 9000, 0},
    {"AGENCY", "SP", "STATE POLICE", "", 9000, 0},
    {"AGENCY", "REV", "REVENUE FIELD OFFICE", "", 9000, 0},
    {"AGENCY", "OLDAG", "MERGED AGENCY", "", 9000, 200},
};
const char *const kFormTypes[] = {"CIT", "PKG", "WRN"};
const char *const kFormStatuses[] = {"A", "P", "S", "D", "W"};
const char *const kAgencies[] = {"DMV", "AG", "SP", "REV"};
const char *const kTroops[] = {"A", "B", "C", "D", "E", "F", "G", "H"};
const char *const kRefundStatuses[] = {"0", "1", "2", "3", "4", "5", "T", "V"};

constexpr int kHistoryDays = 1800; // assignments spread over about five years
constexpr int kDemoShare = 60;     // assignments that go to the demo officer first

class Rng {
public:
    explicit Rng(quint64 seed)
        : m_state(seed)
    {}
    quint64 next()
    {
        quint64 z = (m_state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    int below(int n) { return int(next() % quint64(n)); }
    template <class T, size_t N> const T &pick(const T (&items)[N]) { return items[below(int(N))]; }

private:
    quint64 m_state;
};

} // namespace korva::server::demo

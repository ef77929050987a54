#pragma once

#include "services.h"

namespace korva {

class Broker;

// The common library's one shared instance: every service the screens reach. The
// application installs the real services at start; tests install the test kit's doubles.
// No service is ever null: a new platform holds the do-nothing stand-ins
// (nullservices.h), and install() puts them wherever a service was left null.
class Platform {
public:
    Platform();

    Broker *broker = nullptr;
    MessageBoxes *messages = nullptr;
    ErrorReporter *errors = nullptr;
    StatusBar *status = nullptr;
    MousePointer *pointer = nullptr;
    Clock *clock = nullptr;
    UserContext *user = nullptr;
    Clipboard *clipboard = nullptr;
    Beeper *beeper = nullptr;
    FieldMarks *marks = nullptr;
    KeyFilters *keys = nullptr;
    Lookups *lookups = nullptr;
    Validators *validators = nullptr;
    CodeListService *codes = nullptr;
    HostNotify *host = nullptr;
    ShellServices *shell = nullptr;
    SpellChecking *spelling = nullptr;
    FormServices *forms = nullptr;
    TemplatePrinting *printing = nullptr;

    static Platform &current();
    static void install(Platform *platform); // nullptr restores the do-nothing platform
};

inline Platform &platform()
{
    return Platform::current();
}

} // namespace korva

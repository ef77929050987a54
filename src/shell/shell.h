#pragma once

#include "startoptions.h"

#include <memory>

namespace korva {

class ShellSession;
class ShellWindow;

namespace ExitCode {
inline constexpr int Ok = 0;
inline constexpr int Usage = 2;        // the command line or settings cannot be used
inline constexpr int NoDatabase = 3;   // the demo database could not be made
inline constexpr int SignOnFailed = 4; // unknown officer, unreachable database
inline constexpr int NoScreenshot = 5; // the list did not load in time for the picture
} // namespace ExitCode

// Prepares the database (the demo on first run, with its progress shown), signs on and opens
// the main window. When that fails the user is told why in a critical box and the exit code
// is returned; ExitCode::Ok when the window is up.
int startShell(ShellSession &session, std::unique_ptr<ShellWindow> &window);

// startShell, then the event loop until the window closes.
int runShell(const StartOptions &options);

} // namespace korva

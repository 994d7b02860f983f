#pragma once

#include "session/supportfile.h"

#include <vector>

class Prompts;
class QWidget;

/// What the Help menu shows and does besides the guide. GUI thread; the window of the shortcuts belongs to its parent.
namespace helpwindows {

struct Shortcut
{
    const char *window;
    const char *key;
    const char *does;
};
/// Every key of the program, as the guide lists them.
const std::vector<Shortcut> &shortcuts();
void showShortcuts(QWidget *parent);

/// Asks for a place and writes what a helper needs to know; a box tells when that fails.
void createSupportFile(QWidget *parent, Prompts &prompts, const SupportFacts &facts);

} // namespace helpwindows

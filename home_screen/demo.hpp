// The built-in evening: in one screen, who got through, who did not, and why.
#pragma once

namespace home_screen {

class Session;

// Plays examples/evening.scenario and prints the evening; the session is on an empty phone. Gives
// the number of expectations that did not come true. Throws what playing throws.
int runDemo(Session& session);

}  // namespace home_screen

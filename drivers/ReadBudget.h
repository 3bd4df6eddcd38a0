#pragma once

#include "transport/PortReadSlices.h"

// How long a driver waits for one reply: up to `tries` port reads that find nothing, each followed by
// a sleep of `waitMs`. The first byte ends the waiting; the reply then runs until a read finds nothing.
struct ReadBudget {
    int tries;
    int waitMs;
};

// What a read with this budget costs when nothing arrives: every try an empty port read and the
// sleep after it (the command channel reads at least once).
constexpr int SilentReadMs(ReadBudget budget) {
    return (budget.tries < 1 ? 1 : budget.tries) * (kPortEmptyReadMs + budget.waitMs);
}
// What it sleeps at the least: port reads may be cut short, the sleeps are not.
constexpr int SilentReadSleptMs(ReadBudget budget) {
    return (budget.tries < 1 ? 1 : budget.tries) * budget.waitMs;
}

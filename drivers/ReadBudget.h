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

// An exchange the instrument answers, in bytes on the line each way: what it costs at a line speed.
struct LineExchange {
    int commandBytes;
    int replyBytes;
};

// The answered exchanges of a conversation, in order (a view of a constexpr array).
struct LineExchanges {
    const LineExchange* items;
    int count;
    constexpr LineExchanges() : items(nullptr), count(0) {}
    template <int N>
    constexpr LineExchanges(const LineExchange (&exchanges)[N]) : items(exchanges), count(N) {}
    constexpr const LineExchange* begin() const { return items; }
    constexpr const LineExchange* end() const { return items + count; }
};

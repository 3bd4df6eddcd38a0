#include "ScriptedAnalyser.h"

#include <gtest/gtest.h>

std::unique_ptr<ScriptedInstrument> StartScriptedAnalyser() {
    auto sim = std::make_unique<ScriptedInstrument>();
    EXPECT_TRUE(sim->start());
    sim->on("STR,4\r", "ER10\r\n");
    sim->on("COM,1\n", "OK00\r\n");
    sim->on("ZRC,1,", "OK00\r\n");
    sim->on("COM,0\n", "OK00\r\n");
    sim->on("MDS,0\n", "OK00\r\n");
    sim->on("MES,1\n", "OK00,0,0,0.3127,0.3290,120.5,0,0\r\n");
    return sim;
}

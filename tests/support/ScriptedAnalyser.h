#pragma once

#include "ScriptedInstrument.h"

#include <memory>

// A scripted colour analyser on a fresh pseudo-terminal that refuses the spectroradiometer's probe,
// accepts its own handshake and mode, and measures x 0.3127, y 0.3290, Lv 120.5: enough for a host
// to detect it and read one measurement back. Free of the library's headers, like EventLoopWait.h.
std::unique_ptr<ScriptedInstrument> StartScriptedAnalyser();

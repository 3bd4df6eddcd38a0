#pragma once

// How one read of the serial port waits: in slices of kPortSliceMs, testing for data only between
// them, kPortSlices at most. A reply already there costs one slice; nothing there costs all of them,
// and such an empty read is what ends a reply (the command channel takes the bytes so far as whole).
constexpr int kPortSliceMs = 20;
constexpr int kPortSlices = 4;
constexpr int kPortEmptyReadMs = kPortSlices * kPortSliceMs;

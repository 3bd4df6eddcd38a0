#pragma once

// Tests that run once on each way the simulated cable can deliver: whole replies at once, a byte or
// two at a time, and USB packets on a 16 ms latency timer at a random phase, some of them late by up
// to 8 ms (LineModel::realistic(); a fresh seed each run, printed by the fixtures that start a model).

#include "LineModel.h"

class SimInstrument;

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

std::vector<LineModel> AllLines();
// The instant line only: for scenarios where nothing comes back, so how the cable delivers changes
// nothing.
std::vector<LineModel> InstantLine();
// The instant line and the USB one: for scenarios where a lost port, not the pieces, is the point.
std::vector<LineModel> InstantAndUsbLines();
// The realistic ones only: for scenarios that are slow on every line and matter only where the
// reply comes in pieces.
std::vector<LineModel> RealisticLines();
// "instant", "bytewise", "usb16jitter8": the last part of the test's name.
std::string LineName(const ::testing::TestParamInfo<LineModel>& info);
// How gtest shows a line in its messages.
void PrintTo(const LineModel& line, std::ostream* os);
// Prints the line a started instrument runs on, with the seed of its random draws, so that a failure
// on a USB line can be replayed (LineModel::parse reads the name back).
void ShowLine(const SimInstrument& sim);

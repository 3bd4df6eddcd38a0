#pragma once

#include <QString>

#include <cstdint>

// What the process costs the machine, read from the system.

// CPU time (user + system) of the whole process so far, in microseconds.
std::int64_t ProcessCpuMicros();
// Resident memory in bytes; -1 where the system does not tell.
std::int64_t ResidentBytes();
// Heap bytes in use by the allocator; -1 where the allocator does not tell.
std::int64_t HeapInUseBytes();
// Machine, processor count, processor model and load average, in one line.
QString MachineText();
// The load average alone ("1.00 0.50 0.25").
QString LoadAverageText();

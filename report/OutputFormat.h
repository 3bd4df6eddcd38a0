#pragma once

// The forms an output takes: a table for people, JSON (one object per line) or CSV with a header.
enum class OutputFormat { Table, Json, Csv };

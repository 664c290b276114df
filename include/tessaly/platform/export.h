#pragma once

// Marks what the shared library exports; everything else stays inside.
#define TESSALY_API __attribute__((visibility("default")))

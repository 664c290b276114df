#pragma once

// What the shared library shows to its users; everything without the mark stays inside.
#define TESSALY_API __attribute__((visibility("default")))

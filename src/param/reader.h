// Parameter files into one value: the component every program that reads a parameter file uses.
#pragma once

#include <string>

#include "param/params.h"

// Reads the parameter file at path: tokens, grammar check and the statements. An error stops
// the run with the numbered messages (through Abort).
SParams ReadParams(const std::string& path);

// The cross-checks of statements that only make sense together, after the output folder and the
// report exist: every failed check is listed before the run stops. The only change they make:
// LD statistics are switched off when the maps of the sexes differ.
void CheckParams(SParams& prm);

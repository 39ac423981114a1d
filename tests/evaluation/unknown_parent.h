// The record that stands for an unknown parent in hand-built pedigrees of the tests.
#pragma once

#include "genome/records.h"

// Identifier 0 and F = -1, as the engine's own unknown-parent record.
inline SRec* UnknownParent()
{
    static SRec unknown;
    unknown.id = 0;
    unknown.inbF = -1.0;
    return &unknown;
}

// Steps of the recent populations, of genetic evaluation and of their result files that are
// not written yet. The run driver calls each in its place; until it arrives with its own
// change it does nothing, so a run simulates the historical population and then walks the
// populations' generations without producing individuals.
#include "app/simclass.h"
#include "breeding/sort.h"

void SimClass::EstimateEBV_Base() {}
void SimClass::EstimateEBV(int, int, int) {}
void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveGenResults(int, int, int) {}
void SimClass::GetStatRep() {}
void SimClass::SaveStat() {}
void SimClass::SaveLD() {}
void SimClass::SaveStatRep() {}

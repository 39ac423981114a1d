// The statistics file of a population and the summary over replicates ("stat_rep.txt").
#include "app/simclass.h"

void SimClass::SaveStat() {}
void SimClass::GetStatRep() {}
void SimClass::SaveStatRep() {}

#include "app/simclass.h"

void SimClass::SaveHPStat(double, double, double, double, double) {}
void SimClass::SaveHPHomo(int) {}
void SimClass::SaveLinkageMap(bool, bool) {}
void SimClass::SaveAlleleEffect() {}

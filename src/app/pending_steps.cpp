// Steps of the recent populations, of genetic evaluation and of their result files that are
// not written yet. The run driver calls each in its place; until it arrives with its own
// change it does nothing, so a run simulates the historical population and then walks the
// populations' generations without producing individuals.
#include "app/simclass.h"
#include "breeding/sort.h"


void SimClass::CullAndSelect(int, int, int) {}
void SimClass::RandomMatingDesign(int) {}
void SimClass::AssortMatingDesign(int) {}
void SimClass::Anneal(int, bool) {}
void SimClass::ChooseCheckAccept(int, int, const int16_t*, int&, double, bool) {}
void SimClass::AllocSAMem() {}
void SimClass::FreeSAMem() {}
void CSort::SortParents(CPopulation*, int, bool, ESCDesign, ESCDesign) {}
void CSort::SortRP(CPopulation*, int, int, bool, ESCDesign) {}
void CSort::ShufflePrg(int, SRec**) {}
void CSort::PhenQSort(CPopulation*, int, int, bool) {}
void CSort::TBVQSort(CPopulation*, int, int, bool) {}
void CSort::EBVQSort(CPopulation*, int, int, bool) {}
void CSort::ParentsEBVQSort(SRec**, int, int, bool) {}
void CSort::ParentsGenQSort(SRec**, int, int) {}
void QSort(int, int, int*) {}
void DQSort(int, int, double*) {}

void CInbred::WriteCompletePed(FILE*) {}

void SimClass::EstimateEBV_Base() {}
void SimClass::EstimateEBV(int, int, int) {}
void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveGenResults(int, int, int) {}
void SimClass::GetStatRep() {}
void SimClass::SaveData() {}
void SimClass::SaveStat() {}
void SimClass::SaveLD() {}
void SimClass::SaveStatRep() {}

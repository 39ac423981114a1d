// Steps of the recent populations, of genetic evaluation and of their result files that are
// not written yet. The run driver calls each in its place; until it arrives with its own
// change it does nothing, so a run simulates the historical population and then walks the
// populations' generations without producing individuals.
#include "app/simclass.h"
#include "breeding/sort.h"

void SimClass::SimLitterSize(int) {}
void SimClass::ChooseFromHistPop() {}
void SimClass::ChooseFromRecentPop() {}
void SimClass::ProgenySimulator(int, int, int) {}
void SimClass::Mate(int, bool) {}
void SimClass::AssignSex(int, bool) {}
void SimClass::CreateAnim_MyThread(int, int, CMyRnd*, SCrossoP*, CWriteBuffer*) {}
void SimClass::SetProgenyValues(int, int) {}
void SimClass::ComputeMeanVar(int, int, int) {}
void SimClass::ComputeMeanVarEBV(int, int, int) {}
void SimClass::Update_VarAdd(int) {}

void CInbred::AllocMem(CPopulation*, CPopulation*, int, bool) {}
void CInbred::AddFounderToPed(CPopulation*, bool) {}
void CInbred::AddToPed(SRec*) {}
void CInbred::AddParentTorPed(SRec**, int, SRec**, int) {}
void CInbred::ComputeF(int, bool) {}
void CInbred::CreateA(CPopulation*, int, const SMating*, double*, int) {}
void CInbred::UpdateRec(CPopulation*, CPopulation*, const uint8_t*) {}
void CInbred::WriteCompletePed(FILE*) {}
void CInbred::FreeMem() {}
void CInbred::FreeMemRecLink() {}

void SimClass::EstimateEBV_Base() {}
void SimClass::EstimateEBV(int, int, int) {}
void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveGenResults(int, int, int) {}
void SimClass::GetStatRep() {}
void SimClass::SaveData() {}
void SimClass::SaveStat() {}
void SimClass::SaveLD() {}
void SimClass::SaveStatRep() {}

// The simulation engine: one instance per run owns every parameter and all run state.
#pragma once

#include <string>

class CLex;

class SimClass {
public:
    SimClass() = default;
    SimClass(const SimClass&) = delete;
    SimClass& operator=(const SimClass&) = delete;

    // Stores every statement of the parameter file (not written yet).
    void RetrieveParam(CLex* lex);
    // Cross-checks the whole parameter set (not written yet).
    void CheckParam();
    // Runs the simulation (not written yet).
    void Run();
    // Copies the parameter file into the output folder.
    void BackupParamFile(const std::string& paramFile);

    std::string title;        // run title, without quotes
    bool hasTitle = false;    // a title was given
    std::string outputFolder; // output folder path; ends with "/" once created
};

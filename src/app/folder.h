// The output folder: creation along a path, the questions about existing folders, emptiness
// and removal of the files in it.
#pragma once

#include <string>
#include <vector>

// Normalises path (trimmed, single "/" separators, a final "/"), creates every missing level
// and then applies the rule for a non-empty folder: mode 0 removes its files, 1 asks the user,
// 2 stops the run. Returns false when a level cannot be made or the user declines. A folder
// that is the working folder or one that holds it stops the run, whatever its spelling; the
// files named in `keep` (the run's own input files) are never removed.
bool MyMkTree(std::string& path, int mode, const std::vector<std::string>& keep = {});
// Creates one folder (0700) or checks an existing one (mode 0 accepts, 1 asks, 2 stops the run).
bool MyMkDir(const std::string& path, int mode, const std::vector<std::string>& keep = {});
// True when the folder holds nothing but sub-folders.
bool IsFolderEmpty(const std::string& path);
// Removes every file of the folder except those named in `keep`; sub-folders are kept and
// reported.
void RemoveAllFilesInDir(const std::string& path, const std::vector<std::string>& keep = {});
// True when both names lead to the same file or folder (same device and inode).
bool SameFile(const std::string& a, const std::string& b);
// True when path is the working folder or one of the folders above it.
bool HoldsWorkingFolder(const std::string& path);
// Reads answers from standard input until one is a single y or n (either case). The end of
// input counts as n.
bool AskYesNo();
// "r_" followed by the file's base name cut at its last ".".
std::string GetOutPutFolderName(const std::string& paramFile);
// The text after the last "/" (the whole text when there is none).
std::string BaseName(const std::string& path);

#include "app/folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/messages.h"
#include "support/text.h"

namespace {

std::string WithoutTrailingSlash(const std::string& path)
{
    if (path.size() > 1 && path.back() == '/') return path.substr(0, path.size() - 1);
    return path;
}

// Visits every entry of a folder except "." and ".."; stops the run when it cannot be opened.
template <typename Visit>
void ForEachEntry(const std::string& folder, Visit visit)
{
    DIR* dir = opendir(folder.c_str());
    if (!dir) Abort("Error - Could not open [%s].\n", folder.c_str());
    while (struct dirent* entry = readdir(dir)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        if (!visit(folder + "/" + entry->d_name)) break;
    }
    closedir(dir);
}

bool IsDirectory(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool SameEntry(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool IsOneOf(const std::string& entry, const std::vector<std::string>& files)
{
    for (const std::string& file : files)
        if (SameFile(entry, file)) return true;
    return false;
}

// Creates a folder for the owner alone. The file-creation mask is cleared only for this call,
// so the result files keep the user's own mask.
int MakeOwnerFolder(const std::string& path)
{
    const mode_t userMask = umask(0);
    const int result = mkdir(path.c_str(), 0700);
    umask(userMask);  // never fails and leaves errno alone
    return result;
}

}  // namespace

bool AskYesNo()
{
    char word[256];
    while (scanf("%255s", word) == 1) {
        if (strlen(word) != 1) continue;
        if (word[0] == 'y' || word[0] == 'Y') return true;
        if (word[0] == 'n' || word[0] == 'N') return false;
    }
    return false;
}

bool SameFile(const std::string& a, const std::string& b)
{
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && SameEntry(sa, sb);
}

// Walks up from the working folder through "..", comparing device and inode, so that every
// spelling and every link of the same folder is caught. The walk ends at the root (its own
// parent) or at a level that cannot be examined.
bool HoldsWorkingFolder(const std::string& path)
{
    struct stat target;
    if (stat(path.c_str(), &target) != 0) return false;
    std::string level = ".";
    struct stat st;
    if (stat(level.c_str(), &st) != 0) return false;
    for (;;) {
        if (SameEntry(st, target)) return true;
        const std::string parent = level + "/..";
        struct stat up;
        if (stat(parent.c_str(), &up) != 0 || SameEntry(up, st)) return false;
        level = parent;
        st = up;
    }
}

bool IsFolderEmpty(const std::string& path)
{
    bool empty = true;
    ForEachEntry(WithoutTrailingSlash(path), [&](const std::string& entry) {
        struct stat st;
        if (stat(entry.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) empty = false;
        return empty;
    });
    return empty;
}

void RemoveAllFilesInDir(const std::string& path, const std::vector<std::string>& keep)
{
    Info("Removing...\n");
    ForEachEntry(WithoutTrailingSlash(path), [&keep](const std::string& entry) {
        if (IsDirectory(entry)) {
            Info("\"%s\" is a directory. Cannot remove it.\n", entry.c_str());
            return true;
        }
        if (IsOneOf(entry, keep)) {
            Info("\"%s\" is read by this run. Kept.\n", entry.c_str());
            return true;
        }
        if (remove(entry.c_str()) != 0) Abort("Error - Cannot rmove [%s].\n", entry.c_str());
        Info("%s\n", entry.c_str());
        return true;
    });
    Info("\n");
}

bool MyMkDir(const std::string& path, int mode, const std::vector<std::string>& keep)
{
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        if (errno == ENOENT && MakeOwnerFolder(path) == 0) return true;
        Warn("Error - There is a problem with creating directory [%s]; %s.\n", path.c_str(),
             strerror(errno));
        return false;
    }
    if (!S_ISDIR(st.st_mode)) {
        Warn("Error - Output destination [%s] exists, but is not a directory!\n", path.c_str());
        return false;
    }
    if (!(st.st_mode & S_IWUSR) || !(st.st_mode & S_IXUSR)) {
        Warn("Error - Do not have permission to create files in [%s]\n", path.c_str());
        return false;
    }
    if (mode == 1) {
        fprintf(stderr, "WARNING - Output folder [%s] exists.\nOverwrite (Y/N)?", path.c_str());
        fflush(stderr);
        if (!AskYesNo()) return false;
        RemoveAllFilesInDir(path, keep);
    } else if (mode == 2) {
        Abort("Error - Output folder [%s] already exists.\n", path.c_str());
    }
    return true;
}

bool MyMkTree(std::string& path, int mode, const std::vector<std::string>& keep)
{
    TrimLeftRight(path);
    if (path.empty() || path.back() != '/') path += '/';
    std::string normal;
    for (char c : path)
        if (!(c == '/' && !normal.empty() && normal.back() == '/')) normal += c;
    path = normal;

    // Create every level: each prefix that ends before a "/" (a leading "/" is no level).
    for (size_t i = 0; i + 1 < path.size(); ++i)
        if (path[i] != '/' && path[i + 1] == '/' && !MyMkDir(path.substr(0, i + 1), 0)) return false;

    // Emptying such a folder would delete the user's own files.
    if (HoldsWorkingFolder(path))
        Abort("Error - Output folder [%s] is the working folder or a folder that holds it.\n", path.c_str());
    if (IsFolderEmpty(path)) return true;
    if (mode == 1) {
        fprintf(stderr, "WARNING - Output destination [%s] is not empty.\nRemove its contents (Y/N)?",
                path.c_str());
        fflush(stderr);
        if (!AskYesNo()) return false;
    } else if (mode == 2) {
        Abort("Error - Output destination [%s] is not empty.\n", path.c_str());
    }
    RemoveAllFilesInDir(path, keep);
    return true;
}

std::string BaseName(const std::string& path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string GetOutPutFolderName(const std::string& paramFile)
{
    std::string base = BaseName(paramFile);
    size_t dot = base.rfind('.');
    if (dot != std::string::npos) base.resize(dot);
    return "r_" + base;
}

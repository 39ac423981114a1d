// Seed files, the previous-run file "seed.prv" and the lock file "seed.lck". Both files live
// in the current directory: two runs started in one directory share them.
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include "random/rnd.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/timing.h"

namespace {

const char* const kPrevRunFile = "seed.prv";
const char* const kLockFile = "seed.lck";
const char* const kHeader = "State vector for MT19937:";
constexpr unsigned long long kMaxWord = 4294967295ULL;  // a state word holds 32 bits
constexpr int kHeaderBuffer = 256;  // the skipped first line is read up to 255 characters
constexpr int kWordsPerLine = 8;
constexpr int kLockAttempts = 50;
constexpr unsigned kLockWaitTicks = 100;
constexpr int kMaxReseeds = 5;
constexpr unsigned kReseedWaitTicks = 500;

// Reads one unsigned decimal number after white space. False at the end of the file, at a
// character that cannot begin a number, and for a number that does not fit in 32 bits.
bool ReadSeedWord(FILE* fp, unsigned long& word)
{
    int ch;
    do ch = getc(fp);
    while (ch != EOF && isspace(ch));
    if (ch == EOF || !isdigit(ch)) return false;
    unsigned long long value = 0;
    for (; ch != EOF && isdigit(ch); ch = getc(fp))
        if (value <= kMaxWord) value = value * 10 + (ch - '0');  // stops growing once too big
    if (ch != EOF) ungetc(ch, fp);
    if (value > kMaxWord) return false;
    word = static_cast<unsigned long>(value);
    return true;
}

// Skips the first line, then reads up to 624 words; returns how many were read.
int ReadSeedWords(FILE* fp, unsigned long* words)
{
    char header[kHeaderBuffer];
    if (!fgets(header, sizeof header, fp)) return 0;
    int n = 0;
    while (n < CMyRnd::kN && ReadSeedWord(fp, words[n])) ++n;
    return n;
}

// Words of the previous run's "seed.prv"; 0 when there is no such file.
int ReadPreviousRun(unsigned long* words)
{
    FILE* fp = fopen(kPrevRunFile, "r");
    if (!fp) return 0;
    int n = ReadSeedWords(fp, words);
    fclose(fp);
    return n;
}

// Creates "seed.lck" only if it does not exist yet, in one step, so that of two runs trying
// at once exactly one gets it. Null when another run holds it; other failures stop the run.
FILE* CreateLockFile()
{
    const int fd = open(kLockFile, O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (fd < 0) {
        if (errno == EEXIST) return nullptr;
        Abort("Could not open [%s]; %s\n", kLockFile, strerror(errno));
    }
    FILE* fp = fdopen(fd, "w");
    if (!fp) {
        const int err = errno;
        close(fd);
        remove(kLockFile);
        Abort("Could not open [%s]; %s\n", kLockFile, strerror(err));
    }
    return fp;
}

// Takes "seed.lck", waiting while another run holds it; null when it is still held after
// every attempt.
FILE* TakeLockFile()
{
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (FILE* fp = CreateLockFile()) return fp;
        MySleep(kLockWaitTicks);
    }
    return nullptr;
}

}  // namespace

void CMyRnd::InitSeed()
{
    if (seed_file_name != kPrevRunFile)
        ReadSeedAndInit(seed_file_name.c_str());
    else
        InitSeed_CondPrevRun();
}

void CMyRnd::ReadSeedAndInit(const char* path)
{
    FILE* fp = fopen(path, "r");
    if (!fp) Abort("Error - Could not open the seedfile [%s]; %s.\n", path, strerror(errno));
    fclose(fp);
    fp = Myfopen(path, "r");  // adds the final line-feed check of every text input file
    int n = ReadSeedWords(fp, mt_initial);
    fclose(fp);
    if (n < kN) Abort("Error - Invalid seed number in [%s]\n", path);
    Info("Seed for random number generator : %s\n", path);
    memcpy(mt, mt_initial, sizeof mt);
    mti = kN;
}

void CMyRnd::InitSeed_CondPrevRun()
{
    LockSeed();
    SeedInitialFromClock();
    AvoidPreviousRunSeed();
    Info("Seed for random number generator : from current system time\n");
    memcpy(mt, mt_initial, sizeof mt);
    mti = kN;
    SaveSeed(kPrevRunFile, true);
    UnlockSeed();
}

void CMyRnd::SeedInitialFromClock()
{
    init_genrand(static_cast<unsigned long>(time(nullptr)) & 0xffffffffUL);
    memcpy(mt_initial, mt, sizeof mt_initial);
}

void CMyRnd::AvoidPreviousRunSeed()
{
    unsigned long previous[kN];
    if (ReadPreviousRun(previous) != kN) return;  // no usable previous state
    int reseeds = 0;
    while (memcmp(previous, mt_initial, sizeof previous) == 0) {
        if (reseeds == kMaxReseeds) {
            UnlockSeed();  // a known failure must not leave a lock behind for the next run
            Abort("Error - Failed to initialize seed for random number generator\n");
        }
        MySleep(kReseedWaitTicks);
        SeedInitialFromClock();
        ++reseeds;
    }
}

void CMyRnd::LockSeed()
{
    seed_lock_stream = TakeLockFile();
    if (!seed_lock_stream) {
        Warn("Error - Seed file [%s] is apparently being used by another process in this directory.\n",
             seed_file_name.c_str());
        Warn("If this is not true, remove [%s] and retry.\n", kLockFile);
        exit(1);  // not Abort: it would add "Aborted." to the two lines; exit flushes the streams
    }
    // Only the file's existence locks; its line just tells the user what it is.
    fprintf(seed_lock_stream, "%s file is locked.\n", seed_file_name.c_str());
    fflush(seed_lock_stream);
}

void CMyRnd::UnlockSeed()
{
    if (!seed_lock_stream) return;
    fclose(seed_lock_stream);
    seed_lock_stream = nullptr;
    if (remove(kLockFile) != 0) {
        Warn("Warning - Could not remove [%s]; %s.\n\n", kLockFile, strerror(errno));
        ++NoWarn;
    }
}

// A file that cannot be created is only a warning; one that cannot be written completely stops
// the run (after releasing the lock, so the next run is not locked out).
bool CMyRnd::SaveSeed(const char* path, bool initial)
{
    FILE* fp = MyTryfopen(path, "w");
    if (!fp) {
        Warn("Warning - Couldn't open [%s] for writing; %s.\n", path, strerror(errno));
        ++NoWarn;
        return false;
    }
    const unsigned long* words = initial ? mt_initial : mt;
    fprintf(fp, "%s\n", kHeader);
    for (int i = 0; i < kN; ++i) fprintf(fp, (i + 1) % kWordsPerLine == 0 ? "%12lu\n" : "%12lu ", words[i]);
    if (const int err = MyFcloseStatus(fp)) {
        UnlockSeed();
        AbortIncompleteFile(path, err);
    }
    return true;
}

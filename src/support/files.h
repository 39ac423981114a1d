// Opening and closing files so that no failure goes unnoticed.
//
// Every file the run writes (result files, the report, seed files, the copy of the parameter
// file) follows one rule, so that a full disk or a file-size limit can never leave a cut file
// behind a run that says it completed:
//
//   FILE* fp = Myfopen(path, "w");   // or MyTryfopen when failing to open is not fatal
//   fprintf(fp, ...);                 // plain stdio writes; a failure sets the stream's error flag
//   MyFflush(fp);                     // optional, where a file should reach the disk early
//   MyFclose(fp);                     // always: this is where every failed write is caught
//
// Myfopen and MyTryfopen remember the name of each stream opened for writing. MyFflush and
// MyFclose check the stream's error flag, the flush and the close; on a failure they stop the
// run with "Error - Could not write [name]; reason." and remove the incomplete file (the report
// is kept: its missing final line already shows it is incomplete). Never close a stream opened
// for writing with plain fclose: its failures would be lost and its name left registered.
//
// Code that must not stop the run where it writes (worker threads, Abort) flushes with plain
// fflush and hands a failure to NoteWriteFailure; it is reported at the stream's next checked
// flush or close, with the reason seen first.
#pragma once

#include <cstdio>

// Opens path with mode or ends the run. For mode "r" the file's last byte must be a line feed.
FILE* Myfopen(const char* path, const char* mode);
// Opens path with mode; null on failure (errno tells why). Streams for writing are registered.
FILE* MyTryfopen(const char* path, const char* mode);
// Flushes fp and stops the run if anything written to it was lost. Plain fflush for streams
// that were not opened for writing through Myfopen (standard output, temporary files).
void MyFflush(FILE* fp);
// Flushes and closes fp; stops the run if anything written to it was lost.
void MyFclose(FILE* fp);
// Closes fp without stopping the run: 0 when everything written reached the file, else the
// error number of the first failure. For callers that must tidy up before they stop.
int MyFcloseStatus(FILE* fp);
// Records a failed write on fp (error number err) for its next checked flush or close. Keeps
// the first failure; ignores streams that were not registered. Safe in a worker thread while
// the main thread leaves the stream alone.
void NoteWriteFailure(FILE* fp, int err);
// Removes the incomplete file path (a plain file or a link) and stops the run naming it and the
// reason err.
[[noreturn]] void AbortIncompleteFile(const char* path, int err);

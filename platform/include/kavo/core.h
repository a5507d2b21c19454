/*
 * libkavocore: the platform's ground floor.
 *
 * Error record, locks, key=value files, whole files, commands, processes, string lists and hashes. An appliance may
 * bring its own libkavocore; whatever it brings must keep the contracts below. Unless a function says otherwise it
 * returns 0 on success and -1 on failure, and every function may be called from any thread.
 */
#ifndef KAVO_CORE_H
#define KAVO_CORE_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ---- Error record: one a thread, kept until it is set again ---------------------------------------------------- */

/* Records a failure: its code, the bare name of the source file and the line. The name is kept by pointer, so it must
 * live as long as the program (a string literal does). */
void KLIBCErrSetEx(uint32_t code, const char *szFile, int line);

/* The calling thread's code; 0 when none was ever set. */
uint32_t KLIBCErrGet(void);

/* The file and line of the calling thread's record; "" and 0 when none was ever set. Never null. */
const char *KLIBCErrorGetFile(void);
int KLIBCErrorGetLine(void);

/* ---- Configuration locks --------------------------------------------------------------------------------------- */

/*
 * Takes a configuration lock. The class is lockWord & 0xF00 (0x100: network configuration, 0x800: the settings file),
 * the mode lockWord & 0xF (5 shared, 6 exclusive); wait is the number of seconds to wait at most.
 *
 * Locks serialise processes and threads alike and are counted for each thread: a holder may take the same class again
 * and owes one unlock for each. A shared request inside an exclusive hold keeps the exclusive one. An exclusive request
 * inside a shared hold is an upgrade that waits like any other and fails at its limit without losing the shared hold.
 * A holder that dies frees the lock; commands and forked children never inherit it.
 *
 * Returns 0 when held, -1 (0x0D00 for a word that is neither, 0x0400 when the time ran out or the lock file cannot be
 * had). Blocks for at most wait seconds; 0 or less is one try.
 */
int KLIBCFileLock(int lockWord, int wait);

/* Gives back the calling thread's latest hold of the class (0x100 or 0x800). Without a hold it does nothing and leaves
 * the error record alone, so that it may stand on the way out of a failure. Returns 0, or -1 when the thread does not hold
 * the class. */
int KLIBCFileUnlock(int lockClass);

/*
 * Locks a file's name (not its contents: a file that is replaced by rename stays locked). The file need not exist and is
 * not created. mode 1 is exclusive, 0 shared; timeout in seconds. *pFd receives a descriptor above 2 that holds the
 * lock; it belongs to the caller until KLIBCFileUnlockByFile.
 * Returns 1 when locked, 0 otherwise (*pFd is then -1; 0x0D00, 0x0400). Not counted: a second request by the holder waits.
 * A forked child does not hold it. The functions that change files take no such lock: a holder may call them.
 */
int KLIBCFileLockTimeByFile(const char *szPath, int mode, int timeout, int *pFd);

/* Releases such a lock and closes its descriptor. Returns 1 on success, 0 for a descriptor that holds none. */
int KLIBCFileUnlockByFile(int fd);

/* ---- String lists and hashes ----------------------------------------------------------------------------------- */

typedef struct {
    int nItem; /* number of strings; private members follow */
} KLIBSZLIST, *PKLIBSZLIST;

typedef struct tagKLIBSZHASH KLIBSZHASH, *PKLIBSZHASH;

/* A list with room for cItem strings (0 allowed: it grows by itself). Null when out of memory. */
PKLIBSZLIST KLIBCSzListAlloc(int cItem);
/* Appends a copy of sz. The list may move: *ppList is updated. Returns 0 or -1. */
int KLIBCSzListPush(PKLIBSZLIST *ppList, const char *sz);
/* The i-th string (from 0), owned by the list; null when there is none. */
const char *KLIBCSzListGet(const KLIBSZLIST *pList, int i);
/* Empties the list; its room is kept. Null allowed. */
void KLIBCSzListRemoveAll(PKLIBSZLIST pList);
/* Frees the list and its strings. Null allowed. */
void KLIBCSzListFree(PKLIBSZLIST pList);

/* A map of strings to strings with about cBucket buckets. Null when out of memory. */
PKLIBSZHASH KLIBCSzHashAlloc(int cBucket);
/* Sets key to a copy of value. The hash may move: *ppHash is updated. Returns 0 or -1. */
int KLIBCSzHashSetValue(PKLIBSZHASH *ppHash, const char *szKey, const char *szValue);
/* The value of the key, owned by the hash; null when there is none. */
const char *KLIBCSzHashGetValue(PKLIBSZHASH pHash, const char *szKey);
/* Appends every key to the list, in the order in which the keys were first set. Returns their number or -1. */
int KLIBCSzHashEnumKey(PKLIBSZHASH pHash, PKLIBSZLIST *ppList);
/* Empties the hash. Null allowed. */
void KLIBCHashRemoveAll(PKLIBSZHASH pHash);
/* Frees the hash. Null allowed. */
void KLIBCSzHashFree(PKLIBSZHASH pHash);

/* ---- Key=value files ------------------------------------------------------------------------------------------- */

/*
 * A line is key=value. Lines that begin with '#', lines without '=', the order of lines and the file's mode and owner
 * survive every rewrite. Every rewrite is a temporary file in the same directory, fsync, rename, fsync of the directory;
 * a symbolic link is followed to its target, except one that somebody else may have planted: in a folder like /tmp,
 * sticky and writable by all, only a link of the caller or of the folder's owner is followed, by readers too, and another
 * one cannot be opened (0x0900); two writers of different keys lose nothing. A key that is empty or holds
 * '=' or begins with '#', or a key or value that holds a newline, a carriage return or, where the format quotes, a double
 * quote, is refused with 0x0D00 and nothing is written.
 *
 * A format is blanks, "%s" for the key, "=" and text, "%s" for the value and text, in one line; anything else in it,
 * another "%" included, is refused with 0x0D00. Where it has blanks in front, blanks before a key in the file are ignored.
 *
 * Codes: 0x0D00, 0x0200 out of memory, 0x0400 another writer does not come to an end (30 seconds), 0x0900 the file is
 * missing or cannot be opened or made or is no regular file, 0x0A00 it cannot be read, 0x0B00 it cannot be written,
 * 0x2800 it cannot be replaced. The file is then as it was and no temporary file is left; only a failed fsync of the
 * directory (0x0B00) leaves the new content in place.
 */

/* Reads a key: of several lines the last wins, and one enclosing pair of double quotes is taken off. Copies at most
 * cbValue - 1 bytes and terminates. flags must be 0.
 * Returns 1 found, 0 absent, -1 error, a missing file included (0x0900); the buffer is empty unless the key was found. */
int KLIBCFileGetKeyValue(const char *szPath, const char *szKey, char *szValue, int cbValue, int flags);

/* Sets a key: exactly one line of it is left, in the place of its first, or at the end. szFormat holds two "%s", for key
 * and value; null means "%s=\"%s\"\n". The file must exist. Returns 0 or -1. */
int KLIBCFileSetKeyValue(const char *szPath, const char *szKey, const char *szValue, const char *szFormat);

/* Sets every key of pSet and removes every key of pRemove in one rewrite; either may be null. A key in both is set.
 * Creates the file (mode 0644) when it is missing. Returns 0 or -1. */
int KLIBCFileSetKeys(const char *szPath, PKLIBSZHASH pSet, PKLIBSZHASH pRemove, const char *szFormat);

/* Removes every line of the key. Succeeds without a rewrite when key or file is absent. Returns 0 or -1. */
int KLIBCFileRemoveKey(const char *szPath, const char *szKey);

/* 1 when the key's value is szExpected, 0 otherwise. flags must be 0. */
int KLIBCFileCheckKeyValue(const char *szPath, const char *szKey, const char *szExpected, int flags);

/* Sets or removes a key of /etc/kavoinfo.conf, in the format "%s=\"%s\"\n". Returns 0 or -1. */
int KLIBCINFOSetKeyValue(const char *szKey, const char *szValue);
int KLIBCINFORemoveKey(const char *szKey);

/* ---- Sections: "[name]" lines, each followed by its key lines up to the next "[" -------------------------------- */

/* Appends the names of the sections, each once. Returns their number or -1. */
int KLIBCFileEnumSection(const char *szPath, PKLIBSZLIST *ppList);
/* Puts the keys of a section into the hash, beside those that it holds; blanks before a key and one enclosing pair of
 * double quotes of its value are taken off. Returns the number of keys, -1 when file (0x0900) or section (0x0A00) is
 * missing. */
int KLIBCFileGetSection(const char *szPath, const char *szSection, PKLIBSZHASH *ppHash);
/* Adds a section, or sets its keys and keeps its others; creates the file. Null format: "%s=\"%s\"\n". A key must not
 * begin with "[" or a blank either. 0 or -1. */
int KLIBCFileAddSection(const char *szPath, const char *szSection, PKLIBSZHASH pHash, const char *szFormat);

/* ---- Whole files ----------------------------------------------------------------------------------------------- */

/* The first line that begins with szPrefix, without its newline; mode must be 2. Returns 1 found, 0 not, -1 error. */
int KLIBCFileGetLine(const char *szPath, const char *szPrefix, char *szLine, int cbLine, int mode);
/* Appends the file's lines, without their newlines. Returns their number or -1. */
int KLIBCFileReadLines(const char *szPath, PKLIBSZLIST *ppList);
/* Appends the names of a directory's entries, sorted, without "." and "..", at most max. Returns their number or -1. */
int KLIBCFileEnumDir(const char *szDir, int flags, PKLIBSZLIST *ppList, int max);
/* 1 when the path exists (KLIBCFileCheckDir: and is a directory), else 0. */
int KLIBCFileExist(const char *szPath);
int KLIBCFileCheckDir(const char *szPath);
/* Creates an empty file (mode 0644; not through a link) or renews its times. Returns 0 or -1. */
int KLIBCFileTouch(const char *szPath);
/* Creates and opens a new file, mode 0600, from a template that ends in "XXXXXX", which is completed in place. The
 * stream belongs to the caller and is not inherited by commands. Null on failure. */
FILE *KLIBCFileTempFileOpen(char *szTemplate);
/* Writes the name of a temporary file beside szTarget into szTmp; no file of that name exists. Returns 0 or -1 (also
 * when it does not fit). */
int KLIBCFileITmpName(const char *szTarget, char *szTmp, int cbTmp);
/* Replaces every occurrence of szFrom in the file, in one rewrite as for key=value files; none is no rewrite. Returns
 * their number or -1. */
int KLIBCFileReplaceSubStr(const char *szPath, const char *szFrom, const char *szTo);

/* ---- Commands -------------------------------------------------------------------------------------------------- */

/*
 * Commands run without a shell from an argument vector: no copy of the caller's memory, every descriptor above 2
 * closed, standard input from /dev/null, output discarded except for KLIBCPopen, default signal dispositions, an empty
 * signal mask and the fixed environment PATH=/sbin:/bin:/usr/sbin:/usr/bin, LANG=C. The caller's handling of SIGCHLD is
 * neither disturbed nor relied on. szProg is a path and is the first argument too.
 *
 * Result: the exit status, 128 + n when signal n ended the command, -1 when it could not be run (0x2A00, errno tells
 * why; 0x0200) or an argument is wrong (0x0D00). Blocks until it ends. While a command runs, a process named
 * "kavo-wait" stands between it and the caller: it shares the caller's memory, holds none of its descriptors and is
 * neither reaped nor announced by SIGCHLD.
 */

/* Exactly four argument slots; the first null ends them. */
int KLIBCExec(const char *szProg, const char *a1, const char *a2, const char *a3, const char *a4);
/* options must be 0xBB; arguments up to a terminating (char *)0. */
int KLIBCExecl(const char *szProg, int options, ...);
/* argv with its null; argv[0], which must be there, is the program's own name. flag must be 1. */
int KLIBCExecv(const char *szProg, char *const argv[], int flag);
/* Runs a command and gives its standard output; szMode must be "r". Arguments up to a terminating (char *)0. Null when
 * it could not be run. The stream belongs to the caller until KLIBCPclose. */
FILE *KLIBCPopen(const char *szProg, const char *szMode, ...);
/* Closes the stream, waits for the command and gives its result as above. Any thread may do it. A stream that
 * KLIBCPopen did not give is left alone: 0x0D00, -1. */
int KLIBCPclose(FILE *fp);

/* ---- Processes ------------------------------------------------------------------------------------------------- */

typedef struct {
    int pid, ppid;
    char state;           /* as in /proc/<pid>/stat */
    char szName[16];      /* the kernel's name of the process */
    char szCmdline[4096]; /* its argument words joined by blanks */
} KLIBCPROC;

/* Counts the processes of that name (the kernel's name or the last part of the program's path), dead ones that nobody
 * reaped aside. szBuf, when given, receives the first one's pid in decimal, or the empty text. Returns the count, or -1
 * (0x0D00, 0x0900). */
int KLIBCPs(const char *szName, char *szBuf, int cbBuf);
/* 1 when a process runs whose argument words begin with the words of szCmdline, else 0. Words are separated by blanks
 * and compared whole; a text without words is refused (0x0D00). The calling process itself is never meant, neither here
 * nor below. */
int KLIBCIsProcAlive(const char *szCmdline);
/* Ends every such process. flag must be 1: SIGTERM, at most 5 seconds, then SIGKILL. Returns 0 when none is left and each
 * has given back its files and ports, else -1 (0x8100). */
int KLIBCKill(const char *szCmdline, int flag);
/* The pid that a pid file holds, a plain decimal number and white space after it; 0 when it holds none, -1 when it
 * cannot be read (0x0900). Links are followed as above, and a file is believed alike: in a folder like /tmp only one of the
 * caller or of the folder's owner. What is no plain file is not opened, so that it never waits. */
int KLIBCReadPidFile(const char *szPath);
/* Describes a process. Returns 0, or -1 when there is none of that pid (0x0900; *pProc stays as it is). */
int KLIBCProcGetByPid(int pid, KLIBCPROC *pProc);

/* ---- The system ------------------------------------------------------------------------------------------------ */

/* 1 when the kernel module is loaded or its support is built in, 0 when not, -1 on error (0x0D00 for a name that no
 * module can have, 0x0A00). '-' and '_' are the same letter. */
int KLIBCModuleIsLoad(const char *szModule);
/* 1 on an appliance of two controllers ("support_dual_head" is "yes" in /etc.defaults/kavoinfo.conf), else 0. */
int KLIBCSupportDualhead(void);

/* ---- Text ------------------------------------------------------------------------------------------------------ */

/* Takes leading and trailing white space off, in place. flags must be 0. */
void KLIBCStrTrimSpace(char *sz, int flags);
/* Appends the non-empty tokens of sz between any of the separator characters. Returns their number or -1. */
int KLIBCStrSep(const char *sz, const char *szSep, PKLIBSZLIST *ppList);
int KLIBCStrTok(const char *sz, const char *szSep, PKLIBSZLIST *ppList);
/* Cuts sz at the first occurrence of szSep and returns what follows it, or null when there is none. */
char *KLIBCStrTokIndex(char *sz, const char *szSep);
/* Appends sz to the growable text *ppBuf of *pcb bytes (malloc; null and 0 to begin). Returns 0 or -1. */
int KLIBCStrCat(char **ppBuf, size_t *pcb, const char *sz);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif

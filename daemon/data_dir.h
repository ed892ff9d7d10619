// The folder that survives reboots: made, claimed for one daemon, and kept from others' eyes.
#ifndef QUORIN_DAEMON_DATA_DIR_H
#define QUORIN_DAEMON_DATA_DIR_H

// Makes the folder, mode 0755, if there is none. False, with an error in the log, when it can't be
// made. What is there is taken as it is. REQUIRES: no other thread yet (the umask is everybody's).
bool ensureConfigDir();

// Takes the lock of which only one daemon can be the holder, until the process ends however it
// ends. False, with the holder's pid in the log, when another process has it. Where the lock file
// can't be made there is no lock: the steps that come find out what is wrong with the folder.
// REQUIRES: called once.
bool claimDataDir();

// Takes others' rights from the databases and settings that are there already, so that nobody can
// read them or lock them against the daemon. REQUIRES: none of them is open yet.
void tightenDataFiles();

#endif

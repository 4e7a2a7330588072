// Keeping what the sandbox stores from the machine's other users.

#ifndef SANDBOX_PRIVACY_H
#define SANDBOX_PRIVACY_H

#include <string>

/// What this process makes from now on is for its user only, whatever umask it was started with.
void makePrivateFiles();

/// Takes a file or folder away from other users and says so in the log. Passes over what is
/// missing, what is private already, and what is not this user's: its owner decides about it.
void keepFromOthers(const std::string &path);

#endif // SANDBOX_PRIVACY_H

// Users of the job database: created only by the administrator's tool,
// signed in by name and password. Passwords are kept as Argon2id hashes
// only; after kMaxFailedSignIns wrong passwords in a row the account is
// locked for kLockSeconds, whatever password comes next.
#pragma once
#include "engine/db/database.h"

#include <string>

namespace kesto::db {

constexpr int kMaxFailedSignIns = 5;
constexpr long long kLockSeconds = 15 * 60;

// An Argon2id hash with its salt and costs, in the usual encoded form.
std::string hash_password(const std::string& password);
bool password_matches(const std::string& hash, const std::string& password);

// Adds a user; false with `error` when the name is taken or empty.
bool create_user(Database& db, const std::string& name, const std::string& password, std::string& error);
// Sets a new password and lifts a lock.
bool reset_password(Database& db, const std::string& name, const std::string& password, std::string& error);

enum class SignIn { Accepted, Refused, Locked };
struct SignInResult {
    SignIn verdict = SignIn::Refused;
    long long user = 0; // the user's id when accepted
};
// Checks a sign-in at time `now` (seconds) and counts a failure against the
// account. An unknown name costs as much time as a wrong password.
SignInResult sign_in(Database& db, const std::string& name, const std::string& password, long long now);

} // namespace kesto::db

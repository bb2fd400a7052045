#include "engine/db/users.h"

#include <sodium.h>

#include <ctime>

namespace kesto::db {
namespace {

void need_sodium()
{
    static const bool ready = sodium_init() >= 0;
    if (!ready) throw Error("the password library cannot start");
}

} // namespace

std::string hash_password(const std::string& password)
{
    need_sodium();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                              crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw Error("not enough memory to hash a password");
    return out;
}

bool password_matches(const std::string& hash, const std::string& password)
{
    need_sodium();
    if (hash.size() >= crypto_pwhash_STRBYTES) return false;
    char stored[crypto_pwhash_STRBYTES] = {};
    hash.copy(stored, hash.size());
    return crypto_pwhash_str_verify(stored, password.data(), password.size()) == 0;
}

bool create_user(Database& db, const std::string& name, const std::string& password, std::string& error)
{
    if (name.empty() || password.empty()) {
        error = "a user needs a name and a password";
        return false;
    }
    const std::string hash = hash_password(password);
    Transaction tx(db);
    if (!db.run("SELECT id FROM users WHERE name = ?", {name}).empty()) {
        error = "there is a user '" + name + "' already";
        return false;
    }
    db.run("INSERT INTO users (name, password_hash, created) VALUES (?, ?, ?)",
           {name, hash, static_cast<long long>(time(nullptr))});
    tx.commit();
    return true;
}

bool reset_password(Database& db, const std::string& name, const std::string& password, std::string& error)
{
    if (password.empty()) {
        error = "the password is empty";
        return false;
    }
    const std::string hash = hash_password(password);
    Transaction tx(db);
    if (db.run("SELECT id FROM users WHERE name = ?", {name}).empty()) {
        error = "there is no user '" + name + "'";
        return false;
    }
    db.run("UPDATE users SET password_hash = ?, failed_sign_ins = 0, locked_until = 0 WHERE name = ?", {hash, name});
    tx.commit();
    return true;
}

SignInResult sign_in(Database& db, const std::string& name, const std::string& password, long long now)
{
    const auto rows = db.run("SELECT id, password_hash, locked_until FROM users WHERE name = ?", {name});
    if (rows.empty()) {
        // Spend the time a real check takes, so that timing does not tell
        // which names exist.
        static const std::string decoy = hash_password("no such user");
        password_matches(decoy, password);
        return {};
    }
    const long long id = as_int(rows[0][0]);
    if (as_int(rows[0][2]) > now) return {SignIn::Locked, 0};
    if (password_matches(as_text(rows[0][1]), password)) {
        db.run("UPDATE users SET failed_sign_ins = 0, locked_until = 0 WHERE id = ?", {id});
        return {SignIn::Accepted, id};
    }
    // One statement, so failures counted by several stations at once add up.
    const long long limit = kMaxFailedSignIns;
    db.run("UPDATE users SET"
           " locked_until = CASE WHEN failed_sign_ins + 1 >= ? THEN ? ELSE locked_until END,"
           " failed_sign_ins = CASE WHEN failed_sign_ins + 1 >= ? THEN 0 ELSE failed_sign_ins + 1 END"
           " WHERE id = ?",
           {limit, now + kLockSeconds, limit, id});
    return {};
}

} // namespace kesto::db

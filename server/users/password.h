// Passwords: asked for on the terminal or read from a file, never an argument; kept as crypt(3)
// hashes. Checking takes tens of milliseconds on purpose and never runs on a network thread.
#ifndef QRX_SERVER_USERS_PASSWORD_H
#define QRX_SERVER_USERS_PASSWORD_H

#include <string>

namespace qrx::server {

// What the login request carries.
inline constexpr size_t kMaxUserBytes = 16;
inline constexpr size_t kMaxPasswordBytes = 31;

std::string HashPassword(const std::string& strPassword);

// An empty hash (no such user) takes as long as a real one and never matches.
bool CheckPassword(const std::string& strPassword, const std::string& strHash);

// From the terminal with the echo off, twice. Throws std::runtime_error without a terminal, or
// when the two differ.
std::string AskPassword(const std::string& strPrompt);

// The first line of a file.
std::string ReadPasswordFile(const std::string& strPath);

}  // namespace qrx::server

#endif

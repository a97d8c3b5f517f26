// The headers from outside that many tests need, which take longer to compile than the tests. Each
// test still includes what it uses.
#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

// Clang reads only what a file uses out of a precompiled header, GCC all of it; and few tests need
// this one.
#ifdef __clang__
#include <nlohmann/json.hpp>
#endif

// The external headers that many tests need. They take longer to compile than the tests. Each test
// still includes the headers that it uses.
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

// Of a precompiled header, Clang reads only the parts that a file uses, but GCC reads all of it.
// Few tests need this one.
#ifdef __clang__
#include <nlohmann/json.hpp>
#endif

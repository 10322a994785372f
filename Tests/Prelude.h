// SPDX-License-Identifier: GPL-3.0-or-later
// Headers that nearly every test includes, precompiled once.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Parsed once for all tests; they still include what they use.
#pragma once

#include "precompiled.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

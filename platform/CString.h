#pragma once

#include <string>

/// The narrow text of the platform's classes: bytes, NUL included, of any length.
using CString = std::string;

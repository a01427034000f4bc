#pragma once

/// What the engine calls itself to servers. Compatibility: not the version, and without a separator.
inline constexpr char kAgentName[] =
    "Quillmoria"
    "1.1";

#pragma once

/// What the engine calls itself to servers.
inline constexpr char kAgentName[] =
    "Quillmoria"
    "1.1";

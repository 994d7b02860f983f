#pragma once

/// How norvex-cli ends. Part of what scripts rely on; documented in the man page.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,       // the reason is on stderr
    Usage = 2,        // the arguments make no sense
    Damage = 4,       // a check found damage
    Locked = 11,      // another program uses the session or the sensor
    Unreachable = 12, // no sensor answered, or not in time
    Unusable = 13,    // something answered, but not as a usable sensor, or refused an upload
    CannotWrite = 14, // a file or folder cannot be written
};

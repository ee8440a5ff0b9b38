// Time stamps, with a little arithmetic.
#pragma once

// Size in bytes of the buffer that time_get writes its answer into.
enum { iTIME_SIZE = 25 };

// Replaces the request in cpTime (iTIME_SIZE bytes, or as many as the request needs) by a time
// stamp and returns cpTime. A request may begin with "YYYY-MM-DD HH:MM:SS " to start from that time
// instead of now; then "D n", "H n", "M n", "S n" add days, hours, minutes, seconds, "T" and "Y"
// mean a day later and earlier, "I" asks for 14 digits. Other answers read "%Y-%m-%d %H:%M:%S %a".
char* time_get(char* cpTime);

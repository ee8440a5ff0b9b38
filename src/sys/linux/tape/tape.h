// Operations of a tape drive.
#pragma once

// For a loader fills giElementAddress from the Element Address Assignment page; for a tape prints
// the status summary; otherwise does nothing and returns NOTAPE_ERROR. Else the command's status.
int iScsiModeSense(int iReport);

// Dumps mode pages: "all_pages_6", "all_pages_10", "eeprom_6", "eeprom_10".
// Returns 0, the executor's status, or USAGE_ERROR for an unknown mode or a reply over 8191 bytes.
int iScsiCmdModeSense(const char* cpMode, int iReport);

// MODE SELECT of one setting: "set_block_size", "set_density_code", "set_dce" to the decimal cpVal;
// cpKey is not used. Returns the executor's status, or USAGE_ERROR for an unknown mode.
int iScsiCmdModeSelect(const char* cpMode, const char* cpKey, const char* cpVal, int iReport);

// READ ATTRIBUTE (SPC): "medium" lists from 0x0400, "medium_type" tells write-once media, a word
// with "0x" lists from that identifier. Returns the executor's status, or USAGE_ERROR for an
// unknown mode or a reply over 8191 bytes.
int iScsiCmdReadAttributes(const char* cpMode, int iReport);

// Writes the line "cpKey cpVal" into the drive's vendor page; cpMode is not used.
// Returns the executor's status, or USAGE_ERROR with a message when key or value is missing.
int iScsiCmdSetEeprom(const char* cpMode, const char* cpKey, const char* cpVal, int iReport);

// Reads the first block of the tape and prints its label; cpMode is not used.
// Returns the executor's status.
int iScsiCmdCDBRead(const char* cpMode, int iReport);

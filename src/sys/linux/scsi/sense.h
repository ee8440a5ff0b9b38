// The decoder of sense data.
#pragma once

// Prints fixed-format sense data (at least 16 bytes, SPC) for iReport above 1; otherwise nothing.
void vScsiSenseData(const unsigned char* cpSenseData, int iReport);

// The decoder of sense data.
#pragma once

// The sense area of the driver's header, in bytes.
enum { iSENSE_AREA = 16 };

// Prints fixed-format sense data (iSENSE_AREA bytes, SPC) for iReport above 1; otherwise nothing.
void vScsiSenseData(const unsigned char* cpSenseData, int iReport);

// Addresses of logical units and the IDs that are made of them: the one place that knows what each
// is made of.
#pragma once

#include <stddef.h>

// The numbers of an address, in the order in which the kernel writes them.
enum { HOST, CHANNEL, TARGET, LUN, ADDRESS_NUMBERS };

// The address of a logical unit.
struct SCSI_ADDRESS {
    unsigned long long ullNumbers[ADDRESS_NUMBERS];
};

// Room in bytes for an ID and for an address as a text, with the NUL.
enum { iID_SIZE = 64, iADDRESS_SIZE = 96 };

// Reads the decimal digits at cpText, none as 0, more than fit as the largest number. Returns what
// stands behind them.
const char* cpReadDigits(const char* cpText, unsigned long long* pNumber);

// Reads the number at *cppText, which cEnd must follow, and steps over both. Returns whether both
// were there.
bool bTakeNumber(const char** cppText, char cEnd, unsigned long long* pNumber);

// Reads "host:channel:target:LUN". Returns false when cpText is anything else.
bool bReadAddress(const char* cpText, SCSI_ADDRESS* pAddress);

// Writes the address as "host:channel:target:LUN". Returns szText.
const char* cpWriteAddress(const SCSI_ADDRESS* pAddress, char (&szText)[iADDRESS_SIZE]);

// Returns whether all numbers are the same.
bool bSameAddress(const SCSI_ADDRESS* pOne, const SCSI_ADDRESS* pOther);

// Returns the address in the first of the kernel's two address words (SCSI_IOCTL_GET_IDLUN), which
// has eight bits for each number.
SCSI_ADDRESS strAddressOfWord(unsigned int uiWord);

// Writes the address as an ID with its numbers in full, as the tape nodes are compared. Returns
// szID.
const char* cpFullID(const SCSI_ADDRESS* pAddress, char (&szID)[iADDRESS_SIZE]);

// Appends a number of the listing to an ID.
void vAppendNumber(char (&szID)[iID_SIZE], int iNumber);

// The sum of two digits, which stands for a number in an ID: the number itself up to 9.
int iDigitSum(const char* cpDigits);

// Writes the ID of an address, as the listing's line of the device gives it: the host in full (left
// out unless bHost), then each number, up to two digits of it as their sum.
void vWriteID(const SCSI_ADDRESS* pAddress, bool bHost, char (&szID)[iID_SIZE]);

// Whether cpID has three characters: such an ID leaves the host out.
bool bWithoutHost(const char* cpID);

// Returns the last character of an ID of three or four characters, which is its logical unit; '0'
// for anything longer or shorter.
char cLunOf(const char* cpID);

// Returns how many characters of an address's ID stand before the target.
int iBusLength(const SCSI_ADDRESS* pAddress, bool bHost);

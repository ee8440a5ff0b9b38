// Target: the name of a device, and what stands behind it, judged by the world.
#include "world.h"

#include "mvk.h"

// A run on the name with one of the operations, and operands that each of them takes.
static int iRunOnName()
{
    static char szWords[][12] = {"i",          "s",     "e",    "l",   "hm", "m", "u",
                                 "L",          "r",     "a",    "p",   "I",  "c", "get_eeprom",
                                 "set_eeprom", "erase", "read", "get", "set"};
    static char szProgram[] = "mvk", szOperand[] = "block_size", szValue[] = "0";
    char* cpWord = szWords[gcHeader[0] % (sizeof(szWords) / sizeof(szWords[0]))];
    char* cpArguments[] = {szProgram, gcpTexts[0], cpWord, szOperand, szValue, szValue, nullptr};
    return iMvkMain(6, cpArguments);
}

const std::vector<int (*)()> gOperations = {iRunOnName};

// Bounded string helpers. The ground: they stand on nothing but the C library.
#include "cm_text.h"

#include <stdlib.h>
#include <string.h>

void v_COPY(char* cpDest, size_t uiSize, const char* cpSource)
{
    if (uiSize == 0)
        return;
    size_t uiLength = strlen(cpSource);
    if (uiLength >= uiSize)
        uiLength = uiSize - 1;
    memcpy(cpDest, cpSource, uiLength);
    cpDest[uiLength] = '\0';
}

void v_APPEND(char* cpDest, size_t uiSize, const char* cpSource)
{
    const size_t uiUsed = uiSize > 0 ? strlen(cpDest) : 0;
    if (uiUsed < uiSize)
        v_COPY(cpDest + uiUsed, uiSize - uiUsed, cpSource);
}

void v_JOIN(char* cpDest, size_t uiSize, const char* cpFirst, const char* cpSecond,
            const char* cpThird)
{
    v_COPY(cpDest, uiSize, cpFirst);
    v_APPEND(cpDest, uiSize, cpSecond);
    v_APPEND(cpDest, uiSize, cpThird);
}

void v_CUT_HEAD(char* cpText, size_t uiCount)
{
    for (const char* cpFrom = cpText + uiCount; (*cpText++ = *cpFrom++) != '\0';) {
    }
}

bool b_STARTS_WITH(const char* cpText, const char* cpPrefix)
{
    while (*cpPrefix != '\0') {
        if (*cpText++ != *cpPrefix++)
            return false;
    }
    return true;
}

bool b_STARTS_FOLDED(const char* cpText, const char* cpPrefix, size_t uiLength)
{
    for (size_t i = 0; i < uiLength; i++) {
        if (cpText[i] != cpPrefix[i] && c_LOWER(cpText[i]) != c_LOWER(cpPrefix[i]))
            return false;
    }
    return true;
}

bool b_IS_KEY_LINE(const char* cpLine, const char* cpKey, size_t uiKey)
{
    return b_STARTS_FOLDED(cpLine, cpKey, uiKey) && cpLine[uiKey] == '=';
}

int i_DECIMAL(const char* cpText)
{
    return (int)strtol(cpText, nullptr, 10);
}

size_t i_CUT_LINE_FEED(char* cpLine)
{
    size_t uiLength = strlen(cpLine);
    if (uiLength > 0 && cpLine[uiLength - 1] == '\n')
        cpLine[--uiLength] = '\0';
    return uiLength;
}

void v_ONE_LINE(char* cpText)
{
    const char cDelete = 0x7F;
    for (; *cpText != '\0' && *cpText != '\n'; cpText++) {
        if ((unsigned char)*cpText < ' ' || *cpText == cDelete)
            *cpText = '?';
    }
    *cpText = '\0';
}

// The program never leaves the "C" locale, in which these are all the letters there are.
static const char cCASE_DISTANCE = 'a' - 'A';

char c_LOWER(char cLetter)
{
    return cLetter >= 'A' && cLetter <= 'Z' ? (char)(cLetter + cCASE_DISTANCE) : cLetter;
}

char* lowercase(char* arg)
{
    for (char* cpPos = arg; *cpPos != '\0'; cpPos++)
        *cpPos = c_LOWER(*cpPos);
    return arg;
}

char* uppercase(char* arg)
{
    for (char* cpPos = arg; *cpPos != '\0'; cpPos++) {
        if (*cpPos >= 'a' && *cpPos <= 'z')
            *cpPos = (char)(*cpPos - cCASE_DISTANCE);
    }
    return arg;
}

int i_REMOVE_COMMENT(char* cpLine)
{
    i_CUT_LINE_FEED(cpLine);
    return cpLine[0] != '#' && cpLine[0] != '\0';
}

char* c_PARSE_FOR_PARENTHESES(const char* cpString, unsigned int* uipPreEnd,
                              unsigned int* uipPostBegin)
{
    const unsigned int uiLength = (unsigned int)strlen(cpString);
    char* cpName = (char*)calloc(uiLength + 1, 1);
    if (cpName == nullptr)
        return nullptr;
    unsigned int uiName = 0;
    bool bCollect = false;
    *uipPreEnd = uiLength - 1;
    *uipPostBegin = uiLength;
    for (unsigned int i = 0; i < uiLength; i++) {
        if (cpString[i] == '%' && cpString[i + 1] == '(') {
            *uipPreEnd = i - 1;
            bCollect = true;
            i++;
        } else if (bCollect && cpString[i] == ')') {
            *uipPostBegin = i + 1;
            break;
        } else if (bCollect) {
            cpName[uiName++] = cpString[i];
        }
    }
    return cpName;
}

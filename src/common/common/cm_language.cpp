// The language of messages that exist in several. The ground: stands on nothing.
#include "cm_language.h"

#include <string.h>

LANGUAGES eLang = LANG_EN;

LANGUAGES eLanguageOf(const char* cpName)
{
    static const struct {
        char szName[8];
        LANGUAGES eLanguage;
    } strNames[] = {
        {"de",    LANG_DE},
        {"de_BA", LANG_BA},
        {"fr",    LANG_FR},
        {"hr",    LANG_HR},
    };
    for (const auto& strName : strNames) {
        if (strcmp(cpName, strName.szName) == 0)
            return strName.eLanguage;
    }
    return LANG_EN;
}

const char* c_IN_LANGUAGE(const char* cpEnglish, const char* cpGerman, const char* cpBavarian,
                          const char* cpFrench)
{
    switch (eLang) {
    case LANG_DE:
        return cpGerman;
    case LANG_BA:
        return cpBavarian;
    case LANG_FR:
        return cpFrench;
    default:
        return cpEnglish;
    }
}

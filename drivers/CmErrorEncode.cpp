#include "CmErrorEncode.h"

#include <cstring>

int64_t CM_ERROR_ENCODE(char* reply) {
    static const char* const kWords[15] = {"OK00", "ER00", "ER02", "ER05", "ER10", "ER17", "ER20", "ER30",
                                           "ER51", "ER52", "ER71", "ER81", "ER82", "ER83", "ER99"};
    for (int i = 0; i < 15; ++i) {
        if (std::memcmp(reply, kWords[i], 4) == 0)
            return code[i];
    }
    return 100;
}

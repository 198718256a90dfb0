// The texts of errors: the client's own table with the families of its codes, and the catalogue of
// the server's symbolic errors.
#include <cstdlib>
#include <cstring>

#include "diag/error.h"

struct ErrorTextEntry {
    int32_t family;
    int32_t number;
    uint8_t show_version;  // 1: the message names the version behind the platform
    const char *text;
};

// Family, number, show_version, text; sorted by family. The families from 4 on and family 0 have
// one placeholder each.
static const ErrorTextEntry error_text_table[] = {
    {1, 101, 0, "parenthandle or handle pointer is null"                               },
    {1, 102, 0, "handle alloc error"                                                   },
    {1, 103, 0, "alloc handle error,current handle is not on explicit application list"},
    {2, 201, 0, "set environment handle attribute error"                               },
    {2, 202, 0, "Attribute set Handle can't be NULL"                                   },
    {2, 203, 0, "Set Attribute error"                                                  },
    {2, 204, 0, "set attr handle type error"                                           },
    {2, 205, 0, "Set Server attr error"                                                },
    {2, 206, 0, "Set Server attr-IP error"                                             },
    {2, 207, 0, "Set Server attr-Port error"                                           },
    {2, 208, 0, "Set Server attr-URL  error"                                           },
    {2, 209, 0, "Set Server attr-IPS error"                                            },
    {2, 210, 0, "Set Session attrs-Version Error"                                      },
    {2, 211, 0, "Set Session attr-CharSet Error"                                       },
    {2, 212, 0, "Set Session attr-Isolevel Error"                                      },
    {2, 213, 0, "Set Session attr-SSL Error"                                           },
    {2, 214, 0, "Set Session attr-auto_commit Error"                                   },
    {2, 215, 0, "Set Session attr type Error"                                          },
    {2, 216, 0, "Set connpool attr type Error"                                         },
    {2, 220, 0, "Set Statement Error prepare with server cursor"                       },
    {2, 221, 0, "Set Statement attr-type Error"                                        },
    {3, 384, 1, "login database error"                                                 },
    {3, 388, 0, "connect set IP/Port error"                                            },
    {3, 389, 0, "connect to server failure"                                            },
    {4, 0,   0, NULL                                                                   },
    {5, 0,   0, NULL                                                                   },
    {6, 0,   0, NULL                                                                   },
    {7, 0,   0, NULL                                                                   },
    {8, 0,   0, NULL                                                                   },
    {9, 0,   0, NULL                                                                   },
    {0, 0,   0, NULL                                                                   },
};
constexpr int32_t ERROR_TEXT_COUNT = 31;
static_assert(sizeof(error_text_table) / sizeof(error_text_table[0]) == ERROR_TEXT_COUNT);

// The row at which family n begins stands at n - 1, and its end at n. Family 0 counts as the tenth;
// its end lies before its beginning, so a search in it stops on its placeholder at once and counts
// as found.
static const int32_t family_start_table[] = {0, 3, 21, 24, 25, 26, 27, 28, 29, 30, 0};

// The place of the family's digit in a code, behind "E32".
constexpr size_t FAMILY_OFFSET = 3;

int32_t ErrTextLookup(const char *code, uint8_t *show_version, const char **text) {
    if (strlen(code) <= FAMILY_OFFSET) return -1;
    int32_t family = code[FAMILY_OFFSET] - '0';
    if (family < 0 || family > 9) return -1;
    if (family == 0) {
        family = 10;
    }
    long number = strtol(code + FAMILY_OFFSET, NULL, 10);
    int32_t end = family_start_table[family];
    int32_t row = family_start_table[family - 1];
    while (row < end && error_text_table[row].number != number) {
        row++;
    }
    if (row == end) return -1;
    *show_version = error_text_table[row].show_version;
    *text = error_text_table[row].text;
    return 0;
}

// Index, name, number, text. The texts are kept in the server's message encoding, so that they
// compare with what it sends.
static const ServerErrorEntry server_error_table[] = {
    {0,  "NO_ERR",               1001,  ""                                                        },
    {1,  "ERR_IGL",              19001, ""                                                        },
    {2,  "ERR_SEGV",             19002, ""                                                        },
    {3,  "ERR_ILL",              19003, "\xb7\xc7\xb7\xa8\xd6\xb8\xc1\xee"                        },
    {4,  "ERR_FPE",              19004, "\xb8\xa1\xb5\xe3\xca\xfd\xb4\xed\xce\xf3"                },
    {5,  "ERR_DIV_ZERO",         19005,
     "\xb3\xfd\xca\xfd\xce\xaa"
     "0"                                                                                          },
    {6,  "ERR_FUNC_STACK_OV",    19006, "\xd4\xcb\xd0\xd0\xd5\xbb\xd2\xe7\xb3\xf6"                },
    {7,  "ERR_FRAME_STACK_OV",   19007, "\xbf\xf2\xbc\xdc\xd5\xbb\xd2\xe7\xb3\xf6"                },
    {8,  "ERR_EXCEPT_STACK_OV",  19008, "\xd2\xec\xb3\xa3\xd5\xbb\xd2\xe7\xb3\xf6"                },
    {9,  "ERR_NO_DATA_FOUND",    19009, "\xb2\xe9\xd1\xaf\xce\xde\xbd\xe1\xb9\xfb"                },
    {10, "ERR_MORE_DATA_FOUND",  19010, "\xb2\xe9\xd1\xaf\xbd\xe1\xb9\xfb\xcc\xab\xb6\xe0"        },
    {11, "ERR_CUR_NO_OPEN",      19011, "\xd3\xce\xb1\xea\xce\xb4\xd5\xd2\xbf\xaa"                },
    {12, "ERR_DUP_VAL_ON_INDEX", 13001, "\xce\xa5\xb7\xb4\xce\xa8\xd2\xbb\xd6\xb5\xd4\xbc\xca\xf8"},
    {13, "ERR_COPY_BI",          15001,
     "Copy\xbc\xc7\xc2\xbc\xc7\xb0\xcf\xf1\xc6\xda\xbc\xe4\xb7\xa2\xc9\xfa\xcf\xb5\xcd\xb3\xb4\xe6"
     "\xc8\xa1\xb1\xa3\xbb\xa4\xca\xc2\xb9\xca"                                                   },
    {14, "ERR_TUP_DATA",         15002,
     "\xbc\xc7\xc2\xbc\xb8\xf1\xca\xbd\xb3\xf6\xcf\xd6\xd2\xe2\xcd\xe2\xb4\xed\xce\xf3"           },
    {15, "ERR_IDX_DATA",         12001,
     "\xcb\xf7\xd2\xfd\xbc\xc7\xc2\xbc\xb3\xdf"
     "c\xb6\xc8\xb3\xac\xb9\xfd"
     "4000\xd7\xd6\xbd\xda"                                                                       },
    {16, "ERR_BLK_SIZE",         3001,  "\xbf\xe9\xb4\xf3\xd0\xa1\xb3\xf6\xcf\xd6\xd2\xec\xb3\xa3"},
    {17, "ERR_TAB_CATA",         5001,
     "\xb2\xe9\xd5\xd2\xb2\xbb\xb5\xbd\xb9\xd8\xd3\xda\xb1\xed(%s)"
     "\xb5\xc4\xcf\xb5\xcd\xb3\xbc\xc7\xc2\xbc"                                                   },
    {18, "ERR_LOB_SPACE",        3002,
     "\xb2\xbb\xc4\xdc\xb4\xf2\xbf\xaa\xb4\xf3\xb6\xd4\xcf\xf3\xd7\xd6\xb6\xce(%s)"
     "\xcb\xf9\xd4\xda\xb5\xc4\xb1\xed\xbf\xd5\xbc\xe4"                                           },
    {19, "ERR_LOB_ENTRY",        5002,
     "\xb2\xbb\xc4\xdc\xb4\xf2\xbf\xaa\xb4\xf3\xb6\xd4\xcf\xf3\xd7\xd6\xb6\xce(%s)"
     "\xcb\xf9\xd4\xda\xb5\xc4\xb4\xe6\xd6\xfc\xb6\xce"                                           },
};

const ServerErrorEntry *ServerErrorLookup(int32_t number) {
    for (const ServerErrorEntry &entry : server_error_table) {
        if (entry.number == number) return &entry;
    }
    return NULL;
}

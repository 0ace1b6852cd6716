// What stands around the record streams on the wire: the message head, the request bodies and the
// heads of answer packets. Everything packed, little-endian. Shared by the library and the server.
#ifndef QRX_CODEC_WIRE_H
#define QRX_CODEC_WIRE_H

#include <cstddef>
#include <cstdint>

// Message types.
enum : int {
    ID_ZPMTELE_LOGIN = 1,
    ID_ZPMTELE_LOGIN_ANSWER = 2,
    ID_ZPMTELE_REQ_KDATA = 101,
    ID_ZPMTELE_REQ_TICK = 107,
    ID_ZPMTELE_REQ_TICK_NIGHT = 110,
    ID_ZPMTELE_REQ_SAVEDATA = 111,
    ID_ZPMTELE_REQ_FUTURE = 112,
    ID_ZPMTELE_REQ_FUTURE_AB = 113,
    ID_ZPMTELE_REQ_OPTION = 114,
    ID_ZPMTELE_REQ_OPTION_AB = 115,
    ID_ZPMTELE_REQ_CODETABLE = 116,
    ID_ZPMTELE_REQ_KDATA_OPTION = 117,
    ID_ZPMTELE_CODETABLE = 1001,
    ID_ZPMTELE_DAYKDATA = 1010,
    ID_ZPMTELE_DAYKDATA_INDEX = 1011,
    ID_ZPMTELE_DAYKDATA_OPTION = 1012,
    ID_ZPMTELE_TRANSACTION = 1030,  // first formats: 1030, 1031, 1035
    ID_ZPMTELE_ORDERQUEUE = 1031,
    ID_ZPMTELE_ORDER = 1035,
    ID_ZPMTELE_ORDERQUEUE_V2 = 1037,
    ID_ZPMTELE_TRANSACTION_V2 = 1038,
    ID_ZPMTELE_ORDER_V2 = 1039,
    ID_ZPMTELE_TICKKDATA_ACC_EX = 1043,
    ID_ZPMTELE_TICKKDATA_AB_ACC_EX = 1044,
    ID_ZPMTELE_TICKKDATA_INDEX_ACC_EX = 1045,
    ID_ZPMTELE_TICK_NIGHT = 1048,
    ID_ZPMTELE_FUTURE = 1049,
    ID_ZPMTELE_FUTURE_AB = 1050,
    ID_ZPMTELE_FORMULA_ADD = 6050,
    ID_ZPMTELE_FORMULA_ADD_ANSWER = 6051,
    ID_ZPMTELE_FORMULA_DELETE = 6052,
    ID_ZPMTELE_FORMULA_DELETE_ANSWER = 6053,
    ID_ZPMTELE_FORMULA_GET = 6054,
    ID_ZPMTELE_FORMULA_GET_ANSWER = 6055,
    ID_ZPMTELE_FORMULA_CALC = 6056,
    ID_ZPMTELE_EZFORMULA_CALC_ANSWER_DYN = 6057
};

inline constexpr uint16_t PROTOCAL_NUMBER = 21320;

#pragma pack(push, 1)

// In front of every message, both ways; the body of nDataLen bytes follows.
struct ZPMDefine_MessageHead {
    uint16_t sFlags;     // PROTOCAL_NUMBER; answers may also carry 0
    int16_t sDataType;   // ID_ZPMTELE_*
    int32_t nDataLen;    // bytes of the body
    char chReserved[8];  // zero when sent, ignored when received
    int32_t nRequestID;  // chosen by the client, repeated in every answer packet
};
static_assert(sizeof(ZPMDefine_MessageHead) == 20);

// -- Session --------------------------------------------------------------------------------

struct ZPMDefine_Login {
    char chUser[16];
    char chPassword[32];
    char chCompany[8];  // "GQCOMP"
    char chReserved[32];
};
static_assert(sizeof(ZPMDefine_Login) == 88);

struct ZPMDefine_LoginAnswer {
    char szInfo[64];
    int32_t nResult;  // 1: accepted
    int32_t nMarkets;
    char chMarket[32][4];
    int32_t nMarketInfo[32];
    char chReserved[96];
};
static_assert(sizeof(ZPMDefine_LoginAnswer) == 424 &&
              offsetof(ZPMDefine_LoginAnswer, nMarketInfo) == 200);

struct ZPMDefine_RequestCodeTable {
    char chMarket[8];  // at most 4 characters
};

struct ZPMDefine_CodeTable_Head {
    int32_t nUnused;
    int32_t nTotalItems;
    int32_t nItemSize;  // announced; the items' stride is 52 whatever stands here
};
static_assert(sizeof(ZPMDefine_CodeTable_Head) == 12);

struct ZPMDefine_CodeTable_Item {
    char chCode[16];
    char chName[32];
    int32_t nType;
};
static_assert(sizeof(ZPMDefine_CodeTable_Item) == 52);

// -- Ticks and trades -----------------------------------------------------------------------

struct ZPMDefine_RequestTickData {  // 107 day ticks, 110 night-capable ticks
    char chCode[8];
    char chMarket[4];
    int32_t nFlags;  // 2: ticks, 3: ticks with levels
    int32_t nDate;
    int32_t nBeginTime;
    int32_t nEndTime;  // -1: none
    int32_t nReserved1;
    uint32_t nReqMark;  // bit 31 set
    int32_t nReserved2;
};
static_assert(sizeof(ZPMDefine_RequestTickData) == 40);

struct ZPMDefine_RequestSaveData {  // 111
    char chCode[8];
    char chMarket[4];
    int32_t nReserved1;
    int32_t nDate;
    int32_t nDataKind;  // 0 transactions, 1 order queues, 2 orders
    int32_t nBeginTime;
    int32_t nEndTime;  // -1: none
    int32_t nReserved2;
    uint32_t nReqMark;  // 0x22222222 for orders
    char chReserved3[8];
};
static_assert(sizeof(ZPMDefine_RequestSaveData) == 48);

struct ZPMDefine_TickData_Head {  // 1043 to 1045, 1048
    char chCode[8];
    char chMarket[4];
    int32_t nFlags;
    int32_t nDate;
    char chReserved[12];
    int32_t nItems;
    int32_t nLastPacket;
};
static_assert(sizeof(ZPMDefine_TickData_Head) == 40);

struct ZPMDefine_SaveData_Head {  // 1037 to 1039
    char chCode[8];
    char chMarket[4];
    int32_t nFlags;
    int32_t nDate;
    char chReserved[16];
    int32_t nItems;
    int32_t nLastPacket;
};
static_assert(sizeof(ZPMDefine_SaveData_Head) == 44);

// -- Bars -----------------------------------------------------------------------------------

struct ZPMDefine_RequestKData {  // 101
    char chCode[8];
    char chMarket[4];
    int32_t nReserved1;
    int32_t nModeFlag;
    int32_t nModeDate;
    int32_t nModeSwitch;
    int32_t nCycType;  // the server's cycle code
    int32_t nCycDef;
    int32_t nBeginDate;
    int32_t nEndDate;
    int32_t nReserved2;
    int32_t nFlags;
    char chReserved3[20];
};
static_assert(sizeof(ZPMDefine_RequestKData) == 72);

struct ZPMDefine_RequestKData_Option {  // 117
    char chCode[16];
    char chMarket[8];
    int32_t nReserved1;
    int32_t nModeFlag;
    int32_t nModeDate;
    int32_t nModeSwitch;
    int32_t nCycType;
    int32_t nCycDef;
    int32_t nBeginDate;
    int32_t nEndDate;
    int32_t nReserved2;
    int32_t nFlags;
    char chReserved3[20];
};
static_assert(sizeof(ZPMDefine_RequestKData_Option) == 84);

struct ZPMDefine_KData_Head {  // 1010, 1011
    char chCode[8];
    char chMarket[4];
    char chReserved1[28];
    int32_t nItems;
    char chReserved2[4];
    int32_t nLastPacket;
};
static_assert(sizeof(ZPMDefine_KData_Head) == 52);

struct ZPMDefine_KData_Option_Head {  // 1012
    char chCode[16];
    char chMarket[8];
    char chReserved1[28];
    int32_t nItems;
    char chReserved2[4];
    int32_t nLastPacket;
};
static_assert(sizeof(ZPMDefine_KData_Option_Head) == 64);

// -- Futures and options --------------------------------------------------------------------

struct ZPMDefine_RequestFuture {  // 112, 113
    char chCode[8];
    char chMarket[4];
    int32_t nDate;
    int32_t nBeginTime;
    int32_t nEndTime;
};
static_assert(sizeof(ZPMDefine_RequestFuture) == 24);

struct ZPMDefine_RequestOption {  // 114, 115
    char chCode[16];
    char chMarket[4];
    int32_t nDate;
    int32_t nBeginTime;
    int32_t nEndTime;
};
static_assert(sizeof(ZPMDefine_RequestOption) == 32);

struct ZPMDefine_Future_Head {  // 1049, 1050
    int32_t nLastPacket;
    int32_t nItems;
    int32_t nDayRef2;  // words 2, 3 and 4: copied into every record under these names
    int32_t nDayRef3;
    int32_t nDayRef1;
};
static_assert(sizeof(ZPMDefine_Future_Head) == 20);

// -- Formulas -------------------------------------------------------------------------------

struct ZPMDefine_RequestAddFormula {  // 6050; the text follows
    char szName[24];
    char chReserved[4];
    uint32_t nTextLen;
};
static_assert(sizeof(ZPMDefine_RequestAddFormula) == 32);

struct ZPMDefine_AddFormulaAnswer {
    int32_t nResult;  // non-zero: refused
    int32_t nAddResult;
    char szAddInfo[128];
    char chAddExtra[64];
};
static_assert(sizeof(ZPMDefine_AddFormulaAnswer) == 200);

struct ZPMDefine_FormulaName {  // 6052 and 6054
    char szName[24];
};

struct ZPMDefine_DelFormulaAnswer {
    int32_t nResult;  // non-zero: refused
    char szName[24];
    char szDelInfo[64];
};
static_assert(sizeof(ZPMDefine_DelFormulaAnswer) == 92);

struct ZPMDefine_FormulaList_Head {
    int32_t nItems;
    int32_t nItemSize;  // 152
};

struct ZPMDefine_FormulaItem {
    char szName[24];
    char szText[128];
};
static_assert(sizeof(ZPMDefine_FormulaItem) == 152);

struct ZPMDefine_RequestCalcFormula {  // 6056
    char szName[24];
    char szParam[128];
    char chCode[8];
    char chMarket[4];
    int32_t nReserved1;
    int32_t nReserved2;
    int32_t nCycType;
    int32_t nCycDef;
    int32_t nCQFlag;
    int32_t nBeginDate;
    int32_t nEndDate;
    int32_t nBeginTime;
    int32_t nEndTime;
    int32_t nReserved3;
};
static_assert(sizeof(ZPMDefine_RequestCalcFormula) == 204);

struct ZPMDefine_CalcFormula_Head {  // 6057
    char chReserved1[28];
    char chCode[8];
    char chMarket[4];
    int32_t nTimeUnit;  // 0: the stream's times count 60 each, otherwise 1
    char chReserved2[28];
    int32_t nFlags;    // 0x02: a time column follows the dates
    int32_t nColumns;  // indicator columns
};
static_assert(sizeof(ZPMDefine_CalcFormula_Head) == 80 &&
              offsetof(ZPMDefine_CalcFormula_Head, nFlags) == 72);

#pragma pack(pop)

#endif

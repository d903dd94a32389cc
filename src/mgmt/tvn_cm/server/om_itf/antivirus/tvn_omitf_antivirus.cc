// Antivirus commands are made at run time, one class per command code, and
// join the table after the fixed list. None is built yet.
#include "tvn_cm_omagent.h"

void Init_Av_Processor() {}

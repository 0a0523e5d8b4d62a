#include "Tarnel/TarnelProgram.h"

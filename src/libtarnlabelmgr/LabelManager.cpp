#include "libtarnlabelmgr/LabelManager.h"

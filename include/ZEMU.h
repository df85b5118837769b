// The program's umbrella header: every module header, so a client needs only this one.
#ifndef ZEMU_H
#define ZEMU_H

#include "ZEMU-rpn.h"
#include "ZEMU-graph.h"
#include "ZEMU-cube.h"
#include "ZEMU-cif.h"
#include "ZEMU-bv.h"
#include "ZEMU-path.h"
#include "ZEMU-path-build.h"
#include "ZEMU-network.h"
#include "ZEMU-rp.h"
#include "ZEMU-hk.h"
#include "ZEMU-input.h"
#include "ZEMU-gridsym.h"
#include "ZEMU-sites.h"
#include "ZEMU-cmd.h"
#include "ZEMU-output.h"
#include "ZEMU-driver.h"

#endif

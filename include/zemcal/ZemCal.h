// libZemCal: field calibration of a two-axis galvanometer scan head behind a
// flat-field lens.
//
// Including this header gives a host every exported name of the library.
// Units: logical points in millimetres with the field centre at the origin;
// device points in galvo units from 0 to Resolution, centre at Center.
#pragma once

#include <zemcal/BcdFile.h>
#include <zemcal/CalibAlg.h>
#include <zemcal/CalibFile.h>
#include <zemcal/CalibWorkflow.h>
#include <zemcal/CfgFile.h>
#include <zemcal/Export.h>
#include <zemcal/Facade.h>
#include <zemcal/Geometry.h>
#include <zemcal/GridSolver.h>
#include <zemcal/LenPar.h>
#include <zemcal/MVLPkg.h>
#include <zemcal/MvLsmFit.h>
#include <zemcal/PointCorrector.h>
#include <zemcal/StringUtil.h>
#include <zemcal/Version.h>
#include <zemcal/zemcal_c.h>

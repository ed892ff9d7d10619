// Whether the plan of an import fits the switch that it is for.
#ifndef QUORIN_CLIENT_SITE_PLAN_FAULTS_H
#define QUORIN_CLIENT_SITE_PLAN_FAULTS_H

#include <vector>

#include "api/site_document.h"
#include "api/view.h"
#include "client/site/import_plan.h"

// Appends to *faults what of the plan is not for a switch with these ports, or would be stored and
// never fire.
void planFaults(const ImportPlan& plan, const SiteFile& file, const std::vector<PoePort>& ports,
                const View& view, std::vector<SiteFault>* faults);

#endif

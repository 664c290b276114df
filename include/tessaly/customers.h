#pragma once

// Customers: the customer row, the database, its queries and imports, and the choice of target groups.

#include "customers/customer_elements.h"
#include "customers/database_edit.h"
#include "customers/field_rules.h"
#include "customers/one_customer.h"
#include "customers/one_customer_data.h"
#include "extract/extract_action.h"
#include "extract/extract_list_viewer.h"
#include "extract/extract_result_detail.h"

#pragma once

// Customers: the customer row, the database, its queries and imports, and the choice of target groups.

#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/customers/field_rules.h"
#include "tessaly/customers/one_customer.h"
#include "tessaly/customers/one_customer_data.h"
#include "tessaly/extract/extract_action.h"
#include "tessaly/extract/extract_list_viewer.h"
#include "tessaly/extract/extract_result_detail.h"

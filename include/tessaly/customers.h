#pragma once

// Customers: the customer row, the database, its queries and imports.

#include "customers/customer_elements.h"
#include "customers/database_edit.h"
#include "customers/one_customer.h"

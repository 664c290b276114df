#include "engine/environment/environment_summary.h"

#include "engine/base/crossing.h"

namespace engine {

EnvironmentSummary SummaryOf(Session& session) {
    EnvManager& environment = session.Environment();
    CString entry, renewal, password;
    environment.GetEntryDate(entry);
    environment.GetRenewalDate(renewal);
    environment.GetUseEnvPasswordFlag(password);
    CArray<int, int> deleted;
    EnvironmentSummary summary;
    summary.data_directory = session.DataDirectory();
    summary.made = Out(entry);
    summary.changed = Out(renewal);
    summary.has_password = password == "Y";
    summary.customers = static_cast<std::size_t>(session.Customers().GetDBCountWithoutDelete());
    summary.deleted_customers = static_cast<std::size_t>(session.Customers().GetDeleteCustomerList(deleted));
    summary.sender_name = session.Setting("from.name");
    summary.sender_address = session.Setting("from.address");
    summary.server = session.Setting("smtp.host");
    summary.port = session.Setting("smtp.port");
    return summary;
}

}  // namespace engine

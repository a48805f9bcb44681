#include "tools/cloud/ground/text.h"
#include "tools/cloud/store/queries.h"

namespace corvenna::cloud {
namespace {

constexpr const char *kFigures =
    "SELECT"
    " (SELECT count(*) FROM gateways WHERE last_contact >= ?1),"
    " (SELECT count(*) FROM gateways WHERE last_contact >= ?2 AND last_contact < ?1),"
    " (SELECT count(*) FROM gateways WHERE last_contact >= ?3 AND last_contact < ?2),"
    " (SELECT count(*) FROM gateways WHERE last_contact >= ?4 AND last_contact < ?3),"
    " (SELECT count(*) FROM gateways WHERE last_contact < ?4),"
    " (SELECT count(*) FROM gateways WHERE last_contact IS NULL),"
    " (SELECT count(*) FROM recalls WHERE finished IS NULL AND fetched IS NULL),"
    " (SELECT count(*) FROM recalls WHERE finished IS NULL AND fetched IS NOT NULL),"
    " (SELECT count(*) FROM files WHERE finished IS NULL AND begun IS NULL),"
    " (SELECT count(*) FROM files WHERE finished IS NULL AND begun IS NOT NULL),"
    " (SELECT count(*) FROM alarm_states WHERE active)";

}  // namespace

StoreFigures Queries::Figures() {
    constexpr std::int64_t kMinute = 60000;
    const std::int64_t now = NowMilliseconds();
    Store::Reader reader = store_.Read();
    Rows row =
        reader.Get().Query(kFigures, {UtcText(now - kMinute), UtcText(now - 5 * kMinute),
                                      UtcText(now - 60 * kMinute), UtcText(now - 1440 * kMinute)});
    row.Next();
    StoreFigures figures;
    int column = 0;
    for (std::int64_t &gateways : figures.gateways) {
        gateways = row.Number(column++);
    }
    for (std::int64_t *figure :
         {&figures.recallsWaiting, &figures.recallsFetched, &figures.filesOffered,
          &figures.filesBegun, &figures.activeAlarms}) {
        *figure = row.Number(column++);
    }
    return figures;
}

}  // namespace corvenna::cloud

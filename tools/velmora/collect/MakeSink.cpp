#include "collect/MakeSink.h"

#include "collect/SqliteSink.h"
#ifdef VELMORA_HAS_NATS
#include "collect/NatsSink.h"
#endif

namespace velmora::collect {

bool isCluster(std::string_view place) {
    return place.starts_with("nats://");
}

std::string shownPlace(std::string place) {
    std::size_t end = 0;
    while (isCluster(place) && (end = place.find('@')) != std::string::npos) {
        const std::size_t begin = place.rfind('/', end) + 1;
        place.erase(begin, end + 1 - begin);
    }
    return place;
}

std::unique_ptr<Sink> makeSink(const SinkOptions &options) {
    if (!isCluster(options.place))
        return std::make_unique<SqliteSink>(options.place);
#ifdef VELMORA_HAS_NATS
    return std::make_unique<NatsSink>(options);
#else
    throw SinkTrouble("--to: this velmora was built without libnats-dev, and knows SQLite files "
                      "alone");
#endif
}

} // namespace velmora::collect

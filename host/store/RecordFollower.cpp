#include "host/store/RecordFollower.h"

#include <utility>

#include "platform/entity/Hash.h"

namespace Routing::Host {

template <class Kind>
ClientFollower<Kind>::ClientFollower(const Ptr<const Dir>& clients)
    : dir_(clients), changed_(*dir_, Dir::entryField) {
  for (auto cursor = dir_->entry().cursor(); !cursor.atEnd(); cursor.next()) {
    present_.push_back(cursor.key());
  }
}

template <class Kind>
void ClientFollower<Kind>::collect(StoreBatch& batch) {
  for (const String& name : std::exchange(present_, {})) {
    collectClient(name, batch);
  }
  for (const String& name : changed_.take()) {
    collectClient(name, batch);
  }
  for (const auto& [unused, client] : clients_) {
    for (const VrfName& name : client->changed.take()) {
      collectVrf(*client, name, batch);
    }
    for (const auto& [vrfName, vrf] : client->vrfs) {
      if (vrf->changed.empty()) {
        continue;
      }
      key_ = StoreFormat::nameKey(client->record->name(), vrfName);
      collectEntries(*vrf, batch);
    }
  }
}

// The client's record came, went or is another one.
template <class Kind>
void ClientFollower<Kind>::collectClient(const String& name, StoreBatch& batch) {
  const Ptr<const Client> record = entityOf<const Client>(*dir_, name);
  const auto followed = clients_.find(name);
  if (followed != clients_.end()) {
    if (followed->second->record == record) {
      return;
    }
    clients_.erase(followed);
  }
  const std::string key = StoreFormat::nameKey(name);
  batch.del(Kind::database, key);
  batch.delPrefix(Kind::database, key + '\0');
  if (!record) {
    return;
  }
  batch.put(Kind::database, key, {});
  FollowedClient& client =
      *clients_.emplace(name, std::make_unique<FollowedClient>(record)).first->second;
  for (auto cursor = record->vrf().cursor(); !cursor.atEnd(); cursor.next()) {
    collectVrf(client, cursor.key(), batch);
  }
}

// The client's record of a VRF came, went or is another one.
template <class Kind>
void ClientFollower<Kind>::collectVrf(FollowedClient& client,
                                      const VrfName& name,
                                      StoreBatch& batch) {
  const Ptr<const ClientVrf> record = client.record->vrf(name);
  const auto followed = client.vrfs.find(name);
  if (followed != client.vrfs.end()) {
    if (followed->second->record == record) {
      return;
    }
    client.vrfs.erase(followed);
  }
  key_ = StoreFormat::nameKey(client.record->name(), name);
  batch.del(Kind::database, key_);
  batch.delPrefix(Kind::database, key_ + '\0');
  if (!record) {
    return;
  }
  batch.put(Kind::database, key_, StoreFormat::kindValue(record->fecIdType()));
  const FollowedVrf& vrf =
      *client.vrfs.emplace(name, std::make_unique<FollowedVrf>(record)).first->second;
  for (auto cursor = record->nexthop().cursor(); !cursor.atEnd(); cursor.next()) {
    collectEntry(vrf, cursor.key(), batch);
  }
}

// The members stand in no order of addresses: each would be waited for.
template <class Kind>
void ClientFollower<Kind>::collectEntries(FollowedVrf& vrf, StoreBatch& batch) {
  constexpr std::size_t farAhead = 16;
  constexpr std::size_t nearAhead = 8;
  const auto& members = vrf.record->nexthop();
  const std::vector<IpGenAddr> addrs = vrf.changed.take();
  for (std::size_t index = 0; index < addrs.size(); ++index) {
    if (index + farAhead < addrs.size()) {
      members.prefetchFar(hashOf(addrs[index + farAhead]));
      members.prefetchNear(hashOf(addrs[index + nearAhead]));
    }
    collectEntry(vrf, addrs[index], batch);
  }
}

// Requires: key_ is the key of the VRF.
template <class Kind>
void ClientFollower<Kind>::collectEntry(const FollowedVrf& vrf,
                                        const IpGenAddr& addr,
                                        StoreBatch& batch) {
  const std::size_t vrfKeySize = key_.size();
  key_.push_back('\0');
  StoreFormat::appendAddress(addr, key_);
  if (Kind::value(*vrf.record, addr, value_)) {
    batch.put(Kind::database, key_, value_);
  } else {
    batch.del(Kind::database, key_);
  }
  key_.resize(vrfKeySize);
}

template class ClientFollower<ConfigKind>;
template class ClientFollower<StatusKind>;

ForwardingFollower::ForwardingFollower(const Vrf& vrf)
    : name_(vrf.name()),
      forwarding_(vrf.forwarding()),
      context_(vrf.context()),
      vrfChanged_(*forwarding_, NexthopResolverForwardingStatus::vrfField) {
  subscribe(*context_);
}

void ForwardingFollower::onAttribute(FieldId, const void*) { contextChanged_ = true; }

void ForwardingFollower::collect(StoreBatch& batch) {
  if (std::exchange(contextChanged_, false)) {
    batch.put(StoreDatabase::context,
              StoreFormat::nameKey(name_),
              StoreFormat::numberValue(context_->firstUnAllocatedNexthopResolverId()));
  }
  const bool vrfChanged = !vrfChanged_.take().empty();
  if (std::exchange(vrfUnknown_, false) || (vrfChanged && record_ != forwarding_->vrf(name_))) {
    collectWhole(batch);
  } else if (changed_) {
    for (const ResolverId resolverId : changed_->take()) {
      collectRecord(resolverId, batch);
    }
  }
}

void ForwardingFollower::collectWhole(StoreBatch& batch) {
  changed_.reset();
  record_ = forwarding_->vrf(name_);
  const std::string key = StoreFormat::nameKey(name_);
  batch.del(StoreDatabase::forwarding, key);
  batch.delPrefix(StoreDatabase::forwarding, key + '\0');
  if (!record_) {
    return;
  }
  batch.put(StoreDatabase::forwarding, key, {});
  changed_ = std::make_unique<ChangedKeys<ResolverId>>(
      *record_,
      NexthopResolverVrfForwardingStatus::nexthopResolverIdViaField);
  for (auto cursor = record_->nexthopResolverIdVia().cursor(); !cursor.atEnd(); cursor.next()) {
    collectRecord(cursor.key(), batch);
  }
}

void ForwardingFollower::collectRecord(ResolverId resolverId, StoreBatch& batch) {
  std::string key = StoreFormat::nameKey(name_);
  key.push_back('\0');
  StoreFormat::appendResolverId(resolverId, key);
  if (const NexthopResolverIdVia* record = record_->nexthopResolverIdVia().find(resolverId)) {
    StoreFormat::forwardingValue(*record, value_);
    batch.put(StoreDatabase::forwarding, key, value_);
  } else {
    batch.del(StoreDatabase::forwarding, key);
  }
}

}  // namespace Routing::Host

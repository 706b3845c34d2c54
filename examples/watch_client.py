#!/usr/bin/python3
"""A client of nexthopd: registers addresses and prints how each is reached, now and whenever that
changes. Needs python3-grpcio and what protoc and grpc_python_plugin make of nexthop/v1/nexthop.proto.

  watch_client.py SOCKET CLIENT ADDRESS...         follow changes until interrupted
  watch_client.py --once SOCKET CLIENT ADDRESS...  end when each address has been told of
"""

import ipaddress
import sys

import grpc

from nexthop.v1 import nexthop_pb2 as api
from nexthop.v1 import nexthop_pb2_grpc as rpc


def to_bytes(text):
    return ipaddress.ip_address(text).packed


def to_text(packed):
    return str(ipaddress.ip_address(packed))


def describe(status):
    address = to_text(status.address)
    if status.state == api.NEXTHOP_STATE_RESOLVED:
        prefix = f"{to_text(status.prefix)}/{status.prefix_length}"
        return f"{address} resolved over {prefix} identifier {status.identifier}"
    return f"{address} {api.NexthopState.Name(status.state)} {api.Reason.Name(status.reason)}"


def bad_field(error):
    """What the daemon says of a request that it refuses."""
    for key, value in error.trailing_metadata() or ():
        if key == "grpc-status-details-bin":
            return api.BadField.FromString(value)
    return None


def run(once, socket, client, addresses):
    with grpc.insecure_channel("unix:" + socket) as channel:
        nexthops = rpc.NexthopsStub(channel)
        # The stream first: it makes the name ours, and nothing that happens later is missed.
        stream = nexthops.Watch(api.WatchRequest(client=client))
        wanted = [to_bytes(address) for address in addresses]
        nexthops.Register(api.RegisterRequest(client=client, addresses=wanted))
        waiting = set(wanted)
        for message in stream:
            for status in message.nexthops:
                print(describe(status), flush=True)
                if status.state != api.NEXTHOP_STATE_UNKNOWN:
                    waiting.discard(status.address)
            if once and not waiting:
                stream.cancel()
                return


def main():
    arguments = sys.argv[1:]
    once = arguments[:1] == ["--once"]
    if once:
        arguments = arguments[1:]
    if len(arguments) < 3:
        sys.exit(__doc__)
    try:
        run(once, arguments[0], arguments[1], arguments[2:])
    except grpc.RpcError as error:
        field = bad_field(error)
        objection = f"\nthe daemon objects to {field.field}" if field else ""
        sys.exit(f"{error.details()}{objection}")
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()

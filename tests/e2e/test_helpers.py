"""The judges judged: decoder, clock, random stream, books and fault model against values worked out by hand."""

import calendar
import datetime
import random
import zoneinfo

import pytest

import book
import fault_model
import feedtime
import generator
import mt64
import ports
import wire


def test_sizes_of_all_message_kinds():
    assert wire.SIZES == {"C": 24, "A/H": 113, "A/E": 140, "T/M": 147, "T/N": 230, "T/O": 304}
    assert sum(width for _, width in wire.BODY) == 74
    assert sum(width for _, width in wire.BOOK) == 76


def test_decodes_a_halt_written_by_hand():
    raw = (b"AH       O20240701120000" b"AAPL 3.85 43  " b"037833DT4" b"AAPL        " b"CORP "
           b"AAPL 3.85 05/04/43            " b"H" b"20240701120000" b"T.1 ")
    message = wire.decode(raw)
    assert (message.kind, message["symbol"], message["cusip"]) == ("A/H", "AAPL 3.85 43  ", "037833DT4")
    assert (message["action"], message["at"], message["reason"]) == ("H", "20240701120000", "T.1 ")


def test_refuses_packets_that_do_not_add_up():
    heartbeat = wire.request(3, 0)
    assert wire.parse_packet(heartbeat) == wire.Mold_packet(b"BTDS000001", 3, 0, ())
    assert wire.parse_packet(wire.request(9, 0xFFFF)).count == wire.END_OF_SESSION
    good = wire.request(7, 2) + b"\0\2ab" + b"\0\1c"
    assert wire.parse_packet(good).messages == (b"ab", b"c")
    for bad in (good[:-1], good + b"x", heartbeat[:19], wire.request(7, 1), wire.request(7, 1) + bytes(1481)):
        with pytest.raises(wire.Wire_error):
            wire.parse_packet(bad)
    with pytest.raises(wire.Wire_error):
        wire.decode(b"CI" + bytes(21))
    with pytest.raises(wire.Wire_error):
        wire.decode(b"TX" + bytes(145))


def test_packets_are_filled_in_order():
    trade, control = bytes(147), bytes(24)
    assert wire.in_packets(1, [trade] * 10) == [(1, 9), (10, 1)]
    assert wire.in_packets(5, [control] * 2 + [trade] * 10) == [(5, 11), (16, 1)]
    assert wire.in_packets(5, []) == []


def test_local_time_agrees_with_the_time_zone_database():
    zone = zoneinfo.ZoneInfo("America/New_York")
    for utc_s in range(1_700_000_000, 1_900_000_000, 1_234_567):
        wanted = datetime.datetime.fromtimestamp(utc_s, zone).strftime("%Y%m%d%H%M%S")
        assert feedtime.local_text(utc_s) == wanted
        assert feedtime.utc_of_local(wanted) == utc_s


def test_local_time_turns_over_at_the_right_second():
    spring = calendar.timegm((2024, 3, 10, 7, 0, 0))
    autumn = calendar.timegm((2024, 11, 3, 6, 0, 0))
    assert [feedtime.local_text(spring - 1), feedtime.local_text(spring)] == ["20240310015959", "20240310030000"]
    assert [feedtime.local_text(autumn - 1), feedtime.local_text(autumn)] == ["20241103015959", "20241103010000"]
    assert feedtime.local_text(calendar.timegm((2024, 7, 1, 16, 0, 0))) == "20240701120000"
    assert feedtime.local_text(calendar.timegm((2024, 1, 15, 17, 0, 0))) == "20240115120000"


def test_the_repeated_hour_is_told_by_what_is_past():
    autumn = calendar.timegm((2024, 11, 3, 6, 0, 0))
    assert feedtime.utc_of_local("20241103013000", autumn - 1) == autumn - 1800
    assert feedtime.utc_of_local("20241103013000", autumn + 1799) == autumn - 1800
    assert feedtime.utc_of_local("20241103013000", autumn + 1800) == autumn + 1800
    assert feedtime.utc_of_local("20241103020000", autumn) == autumn + 3600
    assert feedtime.utc_of_local("20241103005959", autumn + 9999) == autumn - 3601


def test_random_stream_is_the_standard_one():
    mt = mt64.seed_mt64(5489)
    assert [mt64.next_u64(mt) for _ in range(10000)][-1] == 9981545732273789042
    assert mt64.uniform(mt64.seed_mt64(5489)) == 14514284786278117030 / 2**64


def test_rounding_takes_halves_away_from_zero():
    assert [generator.round_away(value) for value in (0.5, 1.5, 2.5, -2.5, 2.4999999999999996)] == [1, 2, 3, -3, 2]
    assert generator.round_away(0.49999999999999994) == 0


def plain_replay(market):
    """The book of all live eligible trades, played from the start."""
    played = book.Book()
    for trade in market.trades.values():
        if trade.eligible and not trade.cancelled:
            book.take_print(played, trade)
    return played


def some_trade(trade_id, price, exec_s, eligible=True):
    """A trade with what a book looks at."""
    return book.Trade(trade_id, "X", "", price, f" {trade_id:013.6f}", exec_s, "", eligible)


def test_book_of_three_prints_and_one_taken_out():
    market = book.Market()
    trades = [some_trade(*row) for row in ((1, 100.0, 50), (2, 101.0, 40), (3, 99.0, 60))]
    assert [book.add_print(market, trade) for trade in trades] == ["7", "4", "3"]
    first = book.book_now(market, "X")
    assert (first.high, first.low, first.last, first.prints) == (101.0, 99.0, 99.0, 3)
    book.remove_print(market, trades[2])
    second = book.book_now(market, "X")
    assert (second.high, second.low, second.last, second.prints) == (101.0, 100.0, 100.0, 2)
    assert book.change_between(first, second) == "3"
    assert book.change_between(second, book.Book()) == "7"


@pytest.mark.parametrize("seed", range(20))
def test_books_equal_a_plain_replay(seed):
    choice = random.Random(seed)
    market = book.Market()
    for trade_id in range(1, 200):
        trade = some_trade(trade_id, float(choice.randrange(95, 105)), choice.randrange(50), choice.random() < 0.8)
        market.trades[trade_id] = trade
        if trade.eligible:
            book.add_print(market, trade)
        live = [each for each in market.trades.values() if each.eligible and not each.cancelled]
        if live and choice.random() < 0.5:
            victim = choice.choice(live)
            victim.cancelled = True
            book.remove_print(market, victim)
        assert book.book_now(market, "X") == plain_replay(market), f"seed {seed}, trade {trade_id}"


def test_faults_are_decided_in_their_fixed_order():
    faults = fault_model.Faults(drop_every=5, dup=2, reorder=1)
    for sequence in range(1, 7):
        fault_model.flush(faults, sequence)
    assert faults.wire == [2, 2, 1, 3, 4, 6]
    assert (faults.dropped, faults.duplicated, faults.reordered, faults.dup) == (1, 1, 1, 0)


def test_a_claimed_port_is_claimed_once():
    first, second = ports.open_pool(), ports.open_pool()
    port = ports.claim_port(first)
    assert not ports.lock_port(second, port)
    assert ports.claim_port(second) != port

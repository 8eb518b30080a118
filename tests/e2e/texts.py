"""The exact lines that a decoded message must leave in the truth file, on the tape and on the console.

Built from the message and the rebuilt book only. What the wire does not carry (an uncut symbol, a venue, an uncapped
quantity) is handed in by the test.
"""


def escaped(text):
    """A backslash before every double quote and backslash; nothing else changes."""
    return text.replace("\\", "\\\\").replace('"', '\\"')


def plain(number):
    """A zero-padded number of the wire without its padding."""
    stripped = number.strip().lstrip("0")
    return "0" + stripped if stripped.startswith(".") else stripped


def cap_of(message):
    """1000000 or 5000000 when the quantity was capped, else None."""
    return {"1": 1000000, "5": 5000000}[message["qty"][0]] if message["qty_ind"] == "E" else None


def yield_number(message):
    """The yield as a JSON value: null when the field is blank."""
    field = message["yield"]
    return "null" if not field.strip() else field[0].strip() + plain(field[1:])


def trade_piece(message, symbol=None):
    """The trade's keys as a truth line embeds them, no braces."""
    cap = cap_of(message)
    quantity = f"{cap}.00" if cap else plain(message["qty"])
    symbol = message["symbol"].rstrip() if symbol is None else symbol
    return (f'"cusip":"{message["cusip"].rstrip()}","symbol":"{escaped(symbol)}",'
            f'"trade_id":"{message["counter"]}","qty":{quantity},"capped":{"true" if cap else "false"},'
            f'"qty_ind":"{message["qty_ind"]}","price":{plain(message["price"])},"yield":{yield_number(message)},'
            f'"side":"{message["side"]}","as_of":"{message["as_of"]}","special":"{message["special"]}",'
            f'"sale3":"{message["sale3"]}","sale4":"{message["sale4"]}","exec":"{message["exec"]}",'
            f'"settle":"{message["settle"]}","remuneration":"{message["remuneration"]}","rpt":"{message["rpt"]}",'
            f'"contra":"{message["contra"]}","ats":"{message["ats"]}"')


def summary_piece(book):
    """The book after a trade or correction, with its leading comma."""
    return (f',"summary":{{"traded":{"true" if book.traded else "false"},"high":{book.high:.6f},"low":{book.low:.6f},'
            f'"last":{book.last:.6f},"prints":{book.prints}}}')


def truth_line(sequence, message, book=None, symbol=None, reason=None):
    """The truth line of any message. `book` is the bond's book after it; `reason` the uncut text of a halt."""
    head = f'{{"seq":{sequence},"cat":"{message["category"]}","type":"{message["type"]}",'
    full_symbol = message["symbol"].rstrip() if symbol is None and "symbol" in message.fields else symbol
    if message.kind == "C":
        return head + '"event":"control"}'
    if message.kind == "A/H":
        reason = message["reason"].rstrip() if reason is None else reason
        return (head + f'"event":"halt","cusip":"{message["cusip"].rstrip()}","symbol":"{escaped(full_symbol)}",'
                f'"action":"{message["action"]}","reason":"{reason}","at":"{message["at"]}"}}')
    if message.kind == "A/E":
        return (head + f'"event":"summary","cusip":"{message["cusip"].rstrip()}","symbol":"{escaped(full_symbol)}",'
                f'"high":{plain(message["high"])},"low":{plain(message["low"])},"close":{plain(message["last"])}}}')
    if message.kind == "T/N":
        return (head + f'"event":"cancel","orig_trade_id":"{message["orig_id"]}","function":"{message["function"]}",'
                f'"change":"{message["change"]}"}}')
    if message.kind == "T/M":
        return (head + f'"event":"trade",{trade_piece(message, symbol)},"change":"{message["change"]}"'
                + summary_piece(book) + "}")
    return (head + f'"event":"correction",{trade_piece(message, symbol)},"orig_trade_id":"{message["orig_id"]}",'
            f'"function":"N","change":"{message["change"]}"' + summary_piece(book) + "}")


def tape_line(sequence, message, ts_ms, exec_ms, lag_ms, venue="SYN", where="away", symbol=None):
    """The tape line of a T/M message; times are milliseconds."""
    cap = cap_of(message)
    quantity = str(cap) if cap else f"{float(message['qty']):.0f}"
    symbol = message["symbol"].rstrip() if symbol is None else symbol
    return (f'{{"seq":{sequence},"ts_ms":{ts_ms},"cusip":"{message["cusip"].rstrip()}","symbol":"{escaped(symbol)}",'
            f'"price":{plain(message["price"])},"quantity":{quantity},"cap":"{message["qty"][0] if cap else "0"}",'
            f'"side":"{message["side"]}","reporting_party":"{message["rpt"]}","contra_party":"{message["contra"]}",'
            f'"exec_ts_ms":{exec_ms},"report_lag_ms":{lag_ms},"settle":{message["settle"]},'
            f'"trade_id":"{message["counter"]}","venue":"{escaped(venue)}","where":"{escaped(where)}"}}')


def console_line(sequence, message, quantity=None, symbol=None, reason=None):
    """The console line of any message; None for a daily summary, which has none.

    `quantity` is the true one of a capped trade, in whole units.
    """
    head = f"[vorbeld] #{sequence} "
    if message.kind == "C":
        return head + f"control C/{message['type']}"
    cusip = message["cusip"].rstrip()
    if message.kind == "A/H":
        action = {"H": "halt", "R": "resume"}[message["action"]]
        return head + f"A/H {action} {cusip} {message['reason'].rstrip() if reason is None else reason}"
    if message.kind == "T/N":
        return head + f"T/N cancel of {message['orig_id']} {cusip} change {message['change']}"
    if message.kind == "A/E":
        return None
    capped = cap_of(message) is not None
    quantity = f"{float(message['qty']):.0f}" if quantity is None else quantity
    price = plain(message["price"])
    if message.kind == "T/O":
        return (head + f"T/O correction of {message['orig_id']} → {message['counter']} {cusip} {quantity} @{price} "
                f"change {message['change']}")
    symbol = message["symbol"].rstrip() if symbol is None else symbol
    return (head + f"T/M {message['counter']} {cusip} {symbol} {quantity}{' (capped)' if capped else ''} @{price} "
            f"{message['side']}{message['as_of']}{message['sale3']}{message['sale4']} "
            f"{message['rpt']}/{message['contra']}{' ATS' if message['ats'] == 'Y' else ''} change {message['change']}")

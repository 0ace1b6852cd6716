"""Formulas on the real server: stored, evaluated and held against NumPy, deleted."""

import numpy as np
import pytest

import qrx

BOLL = """MID = MA(CLOSE, N)
local d = STD(CLOSE, N)
UPPER = MID + P * d
LOWER = MID - P * d
"""


def rounded(values):
    return np.where(values < 0, np.ceil(values - 0.5), np.floor(values + 0.5))


def test_formula_against_numpy(session):
    assert session.formulas.add("BOLL", BOLL) == "new; needs N P; gives MID UPPER LOWER"
    assert session.formulas.add("BOLL", BOLL).startswith("replaced the one of this name;")
    bars = session.bars("600000.SH", "1m", "2024-01-03", "2024-01-05")
    calc = session.calc("BOLL", "600000.SH", "2024-01-03", "2024-01-05", cycle="1m",
                        params={"N": 20, "P": 2})
    assert calc.names == ["Date", "Time", "MID", "UPPER", "LOWER"]
    np.testing.assert_array_equal(calc["Date"], bars["nDate"])
    np.testing.assert_array_equal(calc["Time"], bars["nTime"])
    close = bars["nClose"].astype(float)
    windows = np.lib.stride_tricks.sliding_window_view(close, 20)
    middle, width = windows.mean(axis=1), 2 * windows.std(axis=1, ddof=1)
    for name, expected in (("MID", middle), ("UPPER", middle + width), ("LOWER", middle - width)):
        assert len(calc[name]) == len(close) > 100 and not calc[name][:19].any()
        np.testing.assert_allclose(calc[name][19:], rounded(expected), atol=1)
    session.formulas.add("LAST", "A = CLOSE")
    silver = ("ag2403.SHF", "2024-01-05")
    assert (session.calc("LAST", *silver).column("code")[0]
            == session.bars(silver[0], "1d", silver[1]).column("code")[0])
    session.formulas.delete("LAST")
    assert [f.name for f in session.formulas.list()] == ["BOLL"]
    assert session.formulas.delete("BOLL") == "no longer stored"
    assert session.formulas.list() == []


def test_stored_and_deleted(session):
    text = "MA5 = MA(CLOSE, 5)\n" + "MA9 = MA(CLOSE, 9)\n" * 9
    assert session.formulas.add("均线", text).startswith("new; gives MA5")
    session.formulas.add("SHORT", "A = OPEN")
    assert session.formulas.show("均线") == qrx.Formula("均线", text[:128], True)
    assert [f.cut for f in session.formulas.list()] == [False, True]
    for name in ("均线", "SHORT"):
        assert session.formulas.delete(name) == "no longer stored"
        for call in (session.formulas.show, session.formulas.delete):
            with pytest.raises(qrx.NoData, match=rf"no formulas named {name}; see formulas.list\(\)"):
                call(name)


def test_what_is_refused(session):
    with pytest.raises(qrx.FormulaRefused, match="line 1: unknown name CLOES"):
        session.formulas.add("BAD", "A = MA(CLOES, 5)")
    # The longest text that can be sent arrives whole.
    with pytest.raises(qrx.FormulaRefused, match="too long: 1048575 bytes"):
        session.formulas.add("LONG", "A=CLOSE".ljust(1048575))
    with pytest.raises(qrx.NoData, match="the server's log says why"):
        session.calc("NONE", "600000.SH", "2024-01-03", cycle="1d")

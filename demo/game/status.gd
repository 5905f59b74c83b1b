extends Control
## The bar at the top, the hint at the bottom, and the last word when the skirmish is over.

const TEXT := Color("f2ead8")
const FAINT := Color("f2ead8", 0.6)
const BACK := Color(0.06, 0.08, 0.12, 0.78)
const BAR_HEIGHT := 40.0

var tanks := 0
var seconds := 0
var price := 0
var last_word := ""


func show_status(units: Array[Unit], time: float, unit_price: int, over: String) -> void:
	tanks = 0
	for unit in units:
		if unit.own and not unit.harvester:
			tanks += 1
	seconds = int(time)
	price = unit_price
	last_word = over
	queue_redraw()


func _draw() -> void:
	draw_rect(Rect2(0, 0, size.x, BAR_HEIGHT), BACK)
	Painter.crystal(self, Vector2(28, 21), 0.4)
	var x := 44.0
	for item in [["Crystal", Economy.crystal], ["Score", Economy.score], ["Tanks", tanks]]:
		_write(Vector2(x, 26), item[0], FAINT)
		x += _width(item[0]) + 8.0
		_write(Vector2(x, 26), str(item[1]), TEXT)
		x += maxf(_width(str(item[1])), 46.0) + 30.0
	var clock := "%d:%02d" % [seconds / 60, seconds % 60]
	_write(Vector2(size.x - 24 - _width(clock), 26), clock, TEXT)
	var hint := "Drag to select · right button to send · Space for a tank (%d)" % price
	var width := _width(hint) + 28.0
	draw_rect(Rect2(20, size.y - 50, width, 30), BACK)
	_write(Vector2(34, size.y - 30), hint, TEXT if Economy.crystal >= price else FAINT)
	if last_word != "":
		var centre := size / 2.0
		draw_rect(Rect2(centre - Vector2(240, 60), Vector2(480, 120)), BACK)
		_write(centre + Vector2(-_width(last_word, 32) / 2.0, 4), last_word, TEXT, 32)
		_write(centre + Vector2(-_width("Enter for another") / 2.0, 38), "Enter for another", FAINT)


func _width(text: String, font_size := 16) -> float:
	return ThemeDB.fallback_font.get_string_size(text, HORIZONTAL_ALIGNMENT_LEFT, -1, font_size).x


func _write(at: Vector2, text: String, colour: Color, font_size := 16) -> void:
	draw_string(ThemeDB.fallback_font, at, text, HORIZONTAL_ALIGNMENT_LEFT, -1, font_size, colour)

extends Node2D
## A skirmish in a valley: tanks on patrol, and the player's hand on the blue ones.

const BASES: Array[Vector2] = [Vector2(190, 490), Vector2(955, 165)]
const COLOURS: Array[Color] = [Color("4a90e2"), Color("d6543c")]
const FIELD := Vector2(1152, 648)
const SPEED := 60.0
const REACH := 130.0

var tanks: Array[Dictionary] = []
var shots: Array[Dictionary] = []
var time := 0.0
var score := 0
var selected := {}


func _ready() -> void:
	for i in 12:
		_build(i % 2)
	$Overlay/Minimap.show_map(null, FIELD, tanks)
	_close_when_told()


## A demonstration may want the game to end by itself: "demo.cfg" says after how many seconds.
func _close_when_told() -> void:
	var config := ConfigFile.new()
	if config.load("res://demo.cfg") == OK:
		var seconds: float = config.get_value("demo", "close_after_seconds", 0.0)
		if seconds > 0.0:
			get_tree().create_timer(seconds).timeout.connect(get_tree().quit)


func _build(side: int) -> void:
	var at := BASES[side] + Vector2.from_angle(randf() * TAU) * randf_range(50, 110)
	tanks.append({"position": at, "target": at, "own": side == 0, "health": 5, "rest": randf()})


func _process(delta: float) -> void:
	time += delta
	for tank in tanks:
		_drive(tank, delta)
	for tank in tanks.filter(func(one: Dictionary) -> bool: return one.health <= 0):
		tanks.erase(tank)
		score += 0 if tank.own else 250
		_build(0 if tank.own else 1)
	shots = shots.filter(func(shot: Dictionary) -> bool: return time - shot.time < 0.15)
	$Overlay/Score.text = "Score %d" % score
	queue_redraw()


func _drive(tank: Dictionary, delta: float) -> void:
	if tank.position.distance_to(tank.target) < 8.0 and not tank == selected:
		tank.target = Vector2(randf_range(120, FIELD.x - 120), randf_range(120, FIELD.y - 120))
	tank.position = tank.position.move_toward(tank.target, SPEED * delta)
	tank.rest -= delta
	for other in tanks:
		if other.own != tank.own and tank.rest <= 0.0 and tank.position.distance_to(other.position) < REACH:
			tank.rest = 1.2
			other.health -= 1
			shots.append({"from": tank.position, "to": other.position, "time": time})


func _unhandled_input(event: InputEvent) -> void:
	if event is InputEventMouseButton and event.pressed:
		if event.button_index == MOUSE_BUTTON_RIGHT and not selected.is_empty():
			selected.target = event.position
		elif event.button_index == MOUSE_BUTTON_LEFT:
			selected = {}
			for tank in tanks:
				if tank.own and tank.position.distance_to(event.position) < 24.0:
					selected = tank


func _draw() -> void:
	var dusk := 0.5 - 0.5 * cos(time * 0.1)
	draw_rect(Rect2(Vector2.ZERO, FIELD), Color("4f7042").lerp(Color("2b3557"), dusk * 0.6))
	for i in 60:
		var at := Vector2(fmod(i * 211.0, FIELD.x), fmod(i * 137.0, FIELD.y))
		draw_circle(at, 10.0 + i % 5 * 6.0, Color(0, 0, 0, 0.06))
	for side in 2:
		draw_circle(BASES[side], 46, COLOURS[side].darkened(0.5))
		draw_circle(BASES[side], 34, COLOURS[side])
	for tank in tanks:
		draw_set_transform(tank.position, (tank.target - tank.position).angle())
		draw_rect(Rect2(-16, -11, 32, 22), Color(0.1, 0.11, 0.14))
		draw_rect(Rect2(-14, -8, 28, 16), COLOURS[0] if tank.own else COLOURS[1])
		draw_rect(Rect2(0, -2, 22, 4), Color(0.92, 0.92, 0.9))
		if tank == selected:
			draw_arc(Vector2.ZERO, 24, 0, TAU, 32, Color.WHITE, 2.0, true)
	draw_set_transform(Vector2.ZERO)
	for shot in shots:
		draw_line(shot.from, shot.to, Color(1.0, 0.9, 0.6), 2.0, true)
